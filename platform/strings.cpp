#include "platform/strings.h"

#include <unicode/uchar.h>
#include <unicode/ustring.h>

#include <climits>
#include <string>

#include "platform/utf8.h"

namespace {

// Where a code point sorts among UTF-16 code units: the surrogate pair of a
// supplementary character sorts after U+D7FF but before U+E000.
char32_t Utf16SortKey(char32_t point) {
  if (point >= 0xE000 && point <= 0xFFFF)
    return point + 0x110000;
  return point;
}

CFComparisonResult Sign(long value) {
  if (value < 0)
    return kCFCompareLessThan;
  return value > 0 ? kCFCompareGreaterThan : kCFCompareEqualTo;
}

std::u16string ToUtf16(std::string_view utf8) {
  std::u16string result(utf8.size(), u'\0');  // Never more units than bytes.
  int32_t length = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8(result.data(), static_cast<int32_t>(result.size()), &length, utf8.data(),
                static_cast<int32_t>(utf8.size()), &status);
  result.resize(U_SUCCESS(status) ? static_cast<size_t>(length) : 0);
  return result;
}

}  // namespace

CFComparisonResult cf::CompareAsUtf16(std::string_view a, std::string_view b) {
  size_t i = 0, j = 0;
  while (i < a.size() && j < b.size()) {
    char32_t x = NextCodePoint(a, &i);
    char32_t y = NextCodePoint(b, &j);
    if (x != y)
      return Sign(static_cast<long>(Utf16SortKey(x)) - static_cast<long>(Utf16SortKey(y)));
  }
  return Sign(static_cast<long>(a.size() - i) - static_cast<long>(b.size() - j));
}

CFComparisonResult CFStringCompare(const cf::String& a, const cf::String& b,
                                   CFStringCompareFlags options) {
  if (!(options & kCFCompareCaseInsensitive))
    return cf::CompareAsUtf16(a.utf8(), b.utf8());
  std::u16string x = ToUtf16(a.utf8());
  std::u16string y = ToUtf16(b.utf8());
  UErrorCode status = U_ZERO_ERROR;
  // Full case folding, so "ß" matches "SS".
  int32_t order = u_strCaseCompare(x.data(), static_cast<int32_t>(x.size()), y.data(),
                                   static_cast<int32_t>(y.size()), U_FOLD_CASE_DEFAULT, &status);
  return Sign(order);
}

int CFStringGetIntValue(const cf::String& text) {
  return cf::IntValue(text.utf8());
}

int cf::IntValue(std::string_view utf8) {
  size_t position = 0;
  while (position < utf8.size()) {
    // ASCII white space, as Unicode has it, is told without a call into ICU:
    // the texts read here are mostly bare numbers.
    if (const unsigned char byte = utf8[position]; byte < 0x80) {
      if (byte != ' ' && (byte < '\t' || byte > '\r'))
        break;
      ++position;
      continue;
    }
    size_t next = position;
    if (!u_isUWhiteSpace(static_cast<UChar32>(cf::NextCodePoint(utf8, &next))))
      break;
    position = next;
  }
  bool negative = false;
  if (position < utf8.size() && (utf8[position] == '+' || utf8[position] == '-')) {
    negative = utf8[position] == '-';
    ++position;
  }
  // Accumulate towards the sign's side so INT_MIN needs no special case.
  long long value = 0;
  for (; position < utf8.size() && utf8[position] >= '0' && utf8[position] <= '9'; ++position) {
    int digit = utf8[position] - '0';
    value = value * 10 + (negative ? -digit : digit);
    if (value > INT_MAX)
      return INT_MAX;
    if (value < INT_MIN)
      return INT_MIN;
  }
  return static_cast<int>(value);
}
