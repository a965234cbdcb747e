// The stored form of one named pasteboard: everything a reference needs to
// know in one file, so that replacing the file is one atomic change.
//
// Layout (integers little-endian):
//
//   offset  size  field
//        0     8  magic "qbfapb1\n"
//        8     8  change stamp, drawn at random by every write
//       16    16  owner token: the reference that last cleared the pasteboard
//       32     4  item count
//       36        items, each:
//                   8  item identifier
//                   4  flavor count
//                      flavors, each:
//                        4  flavor flags
//                        4  length of the flavor type, then its bytes
//                        8  length of the data, then its bytes
//
// Nothing may follow the last item.
#ifndef PLATFORM_PASTEBOARD_CONTENTS_H_
#define PLATFORM_PASTEBOARD_CONTENTS_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/data.h"

using PasteboardToken = std::array<uint8_t, 16>;

struct PasteboardFlavor {
  std::string type;
  uint32_t flags = 0;
  cf::Data data;
};

struct PasteboardItem {
  uint64_t id = 0;
  std::vector<PasteboardFlavor> flavors;
};

struct PasteboardContents {
  // 0 for a pasteboard that was never written.
  uint64_t change = 0;
  PasteboardToken owner{};
  std::vector<PasteboardItem> items;
};

// The fields before the items: which version a stored pasteboard is, and
// who owns it.
struct PasteboardHeader {
  uint64_t change = 0;
  PasteboardToken owner{};
};
constexpr size_t kPasteboardHeaderSize = 32;

// The stored form of `contents`, as pieces to be written one after another:
// the fields go into `*fields`, which the pieces point into, and each
// flavor's data is a piece of its own, so a large payload is never copied.
std::vector<std::string_view> EncodePasteboardContents(const PasteboardContents& contents,
                                                       std::string* fields);

// The header of a stored pasteboard from its first kPasteboardHeaderSize
// bytes (or more); nothing when they are not one.
std::optional<PasteboardHeader> DecodePasteboardHeader(std::string_view bytes);

// Nothing when `bytes` is not a complete, well-formed stored pasteboard. The
// flavors' data share the memory of `bytes`.
std::optional<PasteboardContents> DecodePasteboardContents(const cf::Data& bytes);

#endif  // PLATFORM_PASTEBOARD_CONTENTS_H_
