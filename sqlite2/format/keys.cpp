#include "sqlite2/format/keys.h"

#include <cmath>

#include "sqlite2/sql/numbers.h"

namespace sqlite2::format {
namespace {

constexpr char kDigits[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz|~";
constexpr uint32_t kSignBit = 0x80000000u;
constexpr int kExponentBias = 1024;
constexpr int kMaxMantissaDigits = 10;

}  // namespace

std::string EncodeRowidKey(int32_t rowid) {
  std::string key(kRowidKeySize, '\0');
  EncodeRowidKey(rowid, key.data());
  return key;
}

void EncodeRowidKey(int32_t rowid, char* out) {
  const uint32_t v = static_cast<uint32_t>(rowid) ^ kSignBit;
  out[0] = static_cast<char>(v >> 24);
  out[1] = static_cast<char>(v >> 16);
  out[2] = static_cast<char>(v >> 8);
  out[3] = static_cast<char>(v);
}

int32_t DecodeRowidKey(const char* key) {
  const auto* p = reinterpret_cast<const uint8_t*>(key);
  const uint32_t v = (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | p[3];
  return DecodeRowidKeyHead(v);
}

int32_t DecodeRowidKeyHead(uint32_t head) {
  return static_cast<int32_t>(head ^ kSignBit);
}

void AppendSortableNumber(double r, std::string* out) {
  // Negative numbers invert both exponent and mantissa so that larger
  // magnitudes sort first; '-' sorts before '0'. Negative zero is not below
  // zero and is written as zero.
  const bool negative = r < 0;
  out->push_back(negative ? '-' : '0');
  if (negative) {
    r = -r;
  }

  // Scale r into [1/128, 1/2) by powers of 64; scaling by a power of two is
  // exact, so the exponent is unique. Infinity never gets there and takes
  // the largest exponent.
  int e = 0;
  if (r == 0) {
    e = -kExponentBias;
  } else if (std::isinf(r)) {
    e = kExponentBias - 1;
  } else {
    while (r >= 0.5) {
      r /= 64;
      ++e;
    }
    while (r < 1.0 / 128) {
      r *= 64;
      --e;
    }
  }
  if (negative) {
    e = -e;
    r = -r;
  }
  e += kExponentBias;
  r += 0.5;  // rounds, so nearly equal numbers share a key

  if (e < 0) {
    return;
  }
  if (e >= 2 * kExponentBias || r >= 1) {
    out->append(12, '~');
    return;
  }
  out->push_back(kDigits[(e >> 6) & 63]);
  out->push_back(kDigits[e & 63]);
  for (int i = 0; i < kMaxMantissaDigits && r > 0; ++i) {
    r *= 64;
    const int digit = static_cast<int>(r);
    out->push_back(kDigits[digit]);
    r -= digit;
  }
}

void AppendNullField(std::string* out) {
  out->push_back('a');
  out->push_back('\0');
}

void AppendNumberField(double value, std::string* out) {
  out->push_back('b');
  AppendSortableNumber(value, out);
  out->push_back('\0');
}

void AppendTextField(std::string_view text, std::string* out) {
  out->push_back('c');
  out->append(text);
  out->push_back('\0');
}

void AppendIndexField(std::optional<std::string_view> value, bool text_column, std::string* out) {
  if (!value) {
    AppendNullField(out);
  } else if (!text_column && sql::LooksLikeNumber(*value)) {
    AppendNumberField(sql::AtoF(*value), out);
  } else {
    AppendTextField(*value, out);
  }
}

}  // namespace sqlite2::format
