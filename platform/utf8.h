// Checking UTF-8 text and walking its code points.
#ifndef PLATFORM_UTF8_H_
#define PLATFORM_UTF8_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace cf {

// Whether every byte is below 0x80, looked at in words: the last word
// overlaps the one before rather than leaving a tail to go byte by byte.
inline bool IsAscii(std::string_view text) {
  const char* bytes = text.data();
  const size_t size = text.size();
  if (size >= 8) {
    uint64_t seen = 0, word;
    for (size_t i = 0; i + 8 <= size; i += 8) {
      std::memcpy(&word, bytes + i, 8);
      seen |= word;
    }
    std::memcpy(&word, bytes + size - 8, 8);
    return ((seen | word) & 0x8080808080808080u) == 0;
  }
  if (size >= 4) {
    uint32_t head, tail;
    std::memcpy(&head, bytes, 4);
    std::memcpy(&tail, bytes + size - 4, 4);
    return ((head | tail) & 0x80808080u) == 0;
  }
  unsigned char seen = 0;
  for (size_t i = 0; i < size; ++i)
    seen |= static_cast<unsigned char>(bytes[i]);
  return seen < 0x80;
}

// The length of the well-formed UTF-8 sequence starting at `at`, whose
// byte is 0x80 or above, or 0 when none starts there: a continuation byte,
// a lead of C0, C1 or F5 to FF, a sequence cut short, an overlong form, a
// surrogate or a code point past U+10FFFF. The one rule every check of
// UTF-8 here goes by; inline, for the loops that walk text with it.
inline size_t WellFormedSequenceLength(std::string_view text, size_t at) {
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[at + i]); };
  const unsigned char lead = byte(0);
  // The first trail byte's range also rules out overlong forms (after E0
  // and F0), surrogates (after ED) and code points past U+10FFFF (after F4).
  size_t trail_count;
  unsigned char low = 0x80, high = 0xBF;
  if (lead >= 0xC2 && lead <= 0xDF) {
    trail_count = 1;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    trail_count = 2;
    low = lead == 0xE0 ? 0xA0 : 0x80;
    high = lead == 0xED ? 0x9F : 0xBF;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    trail_count = 3;
    low = lead == 0xF0 ? 0x90 : 0x80;
    high = lead == 0xF4 ? 0x8F : 0xBF;
  } else {
    return 0;
  }
  if (text.size() - at - 1 < trail_count || byte(1) < low || byte(1) > high)
    return 0;
  for (size_t k = 2; k <= trail_count; ++k) {
    if ((byte(k) & 0xC0) != 0x80)
      return 0;
  }
  return trail_count + 1;
}

// Where the first byte that breaks well-formed UTF-8 (see IsWellFormedUtf8)
// is, or npos when there is none: what a parser reports.
size_t FindInvalidUtf8(std::string_view text);

// Whether text with a byte of 0x80 or above in it is well-formed UTF-8
// (see IsWellFormedUtf8).
inline bool IsWellFormedBeyondAscii(std::string_view text) {
  return FindInvalidUtf8(text) == std::string_view::npos;
}

// Well-formed UTF-8 as Unicode defines it: no overlong forms, no surrogates,
// nothing past U+10FFFF, no sequence cut short. Nearly all text read from a
// font database is ASCII, which is told here, in words, without a call.
inline bool IsWellFormedUtf8(std::string_view text) {
  return IsAscii(text) || IsWellFormedBeyondAscii(text);
}

// The length of well-formed UTF-8 text in UTF-16 units, as the platform's
// strings count it.
inline size_t Utf16Length(std::string_view utf8) {
  size_t units = 0;
  for (unsigned char byte : utf8) {
    if ((byte & 0xC0) != 0x80)
      ++units;  // Each code point starts one unit...
    if (byte >= 0xF0)
      ++units;  // ...and those past U+FFFF take a surrogate pair.
  }
  return units;
}

// The code point at `*position`, advancing past it. Meant for text that
// cf::String has checked; a dictionary key may not have been, so a broken
// sequence yields U+FFFD for its first byte rather than reading past the end.
inline char32_t NextCodePoint(std::string_view text, size_t* position) {
  auto byte = [&](size_t i) { return static_cast<unsigned char>(text[*position + i]); };
  unsigned char lead = byte(0);
  size_t trail_count = lead < 0x80 ? 0 : lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
  bool complete =
      (lead < 0x80 || lead >= 0xC0) && lead < 0xF8 && text.size() - *position > trail_count;
  for (size_t i = 1; complete && i <= trail_count; ++i)
    complete = (byte(i) & 0xC0) == 0x80;
  if (!complete) {
    *position += 1;
    return 0xFFFD;
  }
  static constexpr unsigned char kLeadMask[] = {0x7F, 0x1F, 0x0F, 0x07};
  char32_t point = lead & kLeadMask[trail_count];
  for (size_t i = 1; i <= trail_count; ++i)
    point = (point << 6) | (byte(i) & 0x3F);
  *position += trail_count + 1;
  return point;
}

}  // namespace cf

#endif  // PLATFORM_UTF8_H_
