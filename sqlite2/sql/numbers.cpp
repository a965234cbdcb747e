#include "sqlite2/sql/numbers.h"

#include <cstddef>

namespace sqlite2::sql {
namespace {

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// Moves `pos` past a run of digits; returns how many there were.
size_t SkipDigits(std::string_view text, size_t* pos) {
  const size_t start = *pos;
  while (*pos < text.size() && IsDigit(text[*pos]))
    ++*pos;
  return *pos - start;
}

bool SkipSign(std::string_view text, size_t* pos) {
  if (*pos < text.size() && (text[*pos] == '+' || text[*pos] == '-')) {
    ++*pos;
    return text[*pos - 1] == '-';
  }
  return false;
}

// Beyond this every scale is already infinite (or the quotient zero) in
// long double, so larger exponents change nothing; the cap keeps the loops
// short and the accumulator from overflowing.
constexpr int kExponentCap = 10000;

}  // namespace

bool LooksLikeNumber(std::string_view text) {
  size_t pos = 0;
  SkipSign(text, &pos);
  if (SkipDigits(text, &pos) == 0)
    return false;
  if (pos < text.size() && text[pos] == '.') {
    ++pos;
    if (SkipDigits(text, &pos) == 0)
      return false;
  }
  if (pos < text.size() && (text[pos] == 'e' || text[pos] == 'E')) {
    ++pos;
    SkipSign(text, &pos);
    if (SkipDigits(text, &pos) == 0)
      return false;
  }
  return pos == text.size();
}

double AtoF(std::string_view text) {
  size_t pos = 0;
  const bool negative = SkipSign(text, &pos);
  long double value = 0;
  for (; pos < text.size() && IsDigit(text[pos]); ++pos)
    value = value * 10 + (text[pos] - '0');
  if (pos < text.size() && text[pos] == '.') {
    long double divisor = 1;
    for (++pos; pos < text.size() && IsDigit(text[pos]); ++pos) {
      value = value * 10 + (text[pos] - '0');
      divisor *= 10;
    }
    value /= divisor;
  }
  if (pos < text.size() && (text[pos] == 'e' || text[pos] == 'E')) {
    ++pos;
    const bool negative_exponent = SkipSign(text, &pos);
    int exponent = 0;
    for (; pos < text.size() && IsDigit(text[pos]); ++pos) {
      if (exponent < kExponentCap)
        exponent = exponent * 10 + (text[pos] - '0');
    }
    // The factors are double constants widened to long double, as in the
    // library: 1e64 is not exact in either type, and using the long double
    // 1e64L would round some keys differently from the stored ones.
    long double scale = 1;
    for (; exponent >= 64; exponent -= 64)
      scale *= static_cast<long double>(1e64);
    for (; exponent >= 16; exponent -= 16)
      scale *= static_cast<long double>(1e16);
    for (; exponent >= 4; exponent -= 4)
      scale *= static_cast<long double>(1e4);
    for (; exponent >= 1; exponent -= 1)
      scale *= static_cast<long double>(1e1);
    if (negative_exponent)
      value /= scale;
    else
      value *= scale;
  }
  return static_cast<double>(negative ? -value : value);
}

}  // namespace sqlite2::sql
