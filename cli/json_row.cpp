#include "cli/json_row.h"

#include <array>
#include <cstdint>
#include <cstring>

#include "platform/utf8.h"

namespace {

// What a byte of the text needs: nothing (most of any text), an escape, or a
// look at the UTF-8 sequence it starts.
enum class ByteKind : uint8_t { kPlain, kEscaped, kNonAscii };

constexpr std::array<ByteKind, 256> kByteKinds = [] {
  std::array<ByteKind, 256> kinds{};
  for (size_t byte = 0; byte < kinds.size(); ++byte) {
    if (byte < 0x20 || byte == '"' || byte == '\\')
      kinds[byte] = ByteKind::kEscaped;
    else if (byte >= 0x80)
      kinds[byte] = ByteKind::kNonAscii;
  }
  return kinds;
}();

constexpr char kHexDigits[] = "0123456789abcdef";

// Whether any of the eight bytes in `word` is not kPlain. A byte past ASCII
// has its top bit set; an ASCII byte gets it from a subtraction only when it
// is below 0x20, or equal to the quote or the backslash (XOR makes those 0).
// A borrow into the next byte starts only at a byte that sets it, so the
// answer is exact.
bool AnyNotPlain(uint64_t word) {
  constexpr uint64_t kOnes = 0x0101010101010101, kHighs = 0x8080808080808080;
  const uint64_t quote = word ^ ('"' * kOnes), backslash = word ^ ('\\' * kOnes);
  return ((word | (word - 0x20 * kOnes) | (quote - kOnes) | (backslash - kOnes)) & kHighs) != 0;
}

// A quote, a backslash or a control character, escaped.
void AppendEscaped(uint8_t byte, std::string* out) {
  char escape = 0;
  switch (byte) {
    case '"':
      escape = '"';
      break;
    case '\\':
      escape = '\\';
      break;
    case '\n':
      escape = 'n';
      break;
    case '\r':
      escape = 'r';
      break;
    case '\t':
      escape = 't';
      break;
    case '\b':
      escape = 'b';
      break;
    case '\f':
      escape = 'f';
      break;
    default:
      out->append({'\\', 'u', '0', '0', kHexDigits[byte >> 4], kHexDigits[byte & 0xf]});
      return;
  }
  out->append({'\\', escape});
}

}  // namespace

void AppendJsonString(std::string_view bytes, std::string* out) {
  out->push_back('"');
  // Bytes that need nothing are copied a run at a time.
  size_t run = 0;
  for (size_t pos = 0; pos < bytes.size();) {
    if (uint64_t word; pos + sizeof word <= bytes.size()) {
      std::memcpy(&word, bytes.data() + pos, sizeof word);
      if (!AnyNotPlain(word)) {
        pos += sizeof word;
        continue;
      }
    }
    const auto byte = static_cast<uint8_t>(bytes[pos]);
    const ByteKind kind = kByteKinds[byte];
    if (kind == ByteKind::kPlain) {
      ++pos;
      continue;
    }
    if (kind == ByteKind::kNonAscii) {
      if (const size_t length = cf::WellFormedSequenceLength(bytes, pos); length > 0) {
        pos += length;
        continue;
      }
    }
    out->append(bytes.data() + run, pos - run);
    if (kind == ByteKind::kEscaped) {
      AppendEscaped(byte, out);
    } else {
      // The backslash of \xHH is itself escaped in JSON.
      out->append({'\\', '\\', 'x', kHexDigits[byte >> 4], kHexDigits[byte & 0xf]});
    }
    run = ++pos;
  }
  out->append(bytes.data() + run, bytes.size() - run);
  out->push_back('"');
}

std::string JsonString(std::string_view bytes) {
  std::string out;
  AppendJsonString(bytes, &out);
  return out;
}

std::string JsonRow(int argc, char** argv, char** column_names) {
  std::string out = "[";
  for (int i = 0; i < argc; ++i) {
    if (i > 0)
      out.append(", ");
    out.push_back('[');
    AppendJsonString(column_names[i], &out);
    out.append(", ");
    if (argv[i] != nullptr)
      AppendJsonString(argv[i], &out);
    else
      out.append("null");
    out.push_back(']');
  }
  out.push_back(']');
  return out;
}
