#include "platform/utf8.h"

namespace cf {

size_t FindInvalidUtf8(std::string_view text) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
  size_t size = text.size();
  size_t i = 0;
  while (i < size) {
    // Runs of ASCII between the rest go eight bytes at a time.
    uint64_t word;
    if (size - i >= sizeof word) {
      std::memcpy(&word, bytes + i, sizeof word);
      if ((word & 0x8080808080808080u) == 0) {
        i += sizeof word;
        continue;
      }
    }
    unsigned char lead = bytes[i];
    if (lead < 0x80) {
      ++i;
      continue;
    }
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
      return i;  // Continuation byte, overlong C0/C1 lead, or F5-FF.
    }
    if (size - i - 1 < trail_count)
      return i;
    if (bytes[i + 1] < low || bytes[i + 1] > high)
      return i;
    for (size_t k = 2; k <= trail_count; ++k) {
      if ((bytes[i + k] & 0xC0) != 0x80)
        return i;
    }
    i += trail_count + 1;
  }
  return std::string_view::npos;
}

}  // namespace cf
