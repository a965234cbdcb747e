// Walking the code points of UTF-8 text.
#ifndef PLATFORM_UTF8_H_
#define PLATFORM_UTF8_H_

#include <cstddef>
#include <string_view>

namespace cf {

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
