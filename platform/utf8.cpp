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
    if (bytes[i] < 0x80) {
      ++i;
      continue;
    }
    const size_t length = WellFormedSequenceLength(text, i);
    if (length == 0)
      return i;
    i += length;
  }
  return std::string_view::npos;
}

}  // namespace cf
