#include "platform/pasteboard_contents.h"

#include <algorithm>

namespace {

constexpr std::string_view kMagic("qbfapb1\n", 8);

void PutInteger(std::string* out, uint64_t value, int size) {
  for (int i = 0; i < size; ++i)
    out->push_back(static_cast<char>((value >> (8 * i)) & 0xff));
}

// Reads fields off the front of the bytes; every read checks the bound, and
// after the first failure every further read fails too.
class Cursor {
 public:
  explicit Cursor(std::string_view bytes) : rest_(bytes) {}

  bool ok() const { return ok_; }
  bool at_end() const { return rest_.empty(); }

  uint64_t Integer(int size) {
    if (!Require(static_cast<uint64_t>(size)))
      return 0;
    uint64_t value = 0;
    for (int i = 0; i < size; ++i)
      value |= uint64_t{static_cast<uint8_t>(rest_[i])} << (8 * i);
    rest_.remove_prefix(static_cast<size_t>(size));
    return value;
  }

  std::string_view Bytes(uint64_t length) {
    if (!Require(length))
      return {};
    std::string_view bytes = rest_.substr(0, static_cast<size_t>(length));
    rest_.remove_prefix(static_cast<size_t>(length));
    return bytes;
  }

  // A count of records, each at least `smallest` bytes long, that cannot all
  // fit is damage: checking it first keeps a forged count from reserving
  // memory for records that are not there.
  uint64_t Count(size_t smallest) {
    uint64_t count = Integer(4);
    if (ok_ && count > rest_.size() / smallest)
      ok_ = false;
    return ok_ ? count : 0;
  }

 private:
  bool Require(uint64_t size) {
    if (ok_ && size > rest_.size())
      ok_ = false;
    return ok_;
  }

  std::string_view rest_;
  bool ok_ = true;
};

constexpr size_t kSmallestFlavor = 4 + 4 + 8;
constexpr size_t kSmallestItem = 8 + 4;

}  // namespace

std::vector<std::string_view> EncodePasteboardContents(const PasteboardContents& contents,
                                                       std::string* fields) {
  // The fields are laid out first and cut into pieces after, as the string
  // may move while it grows: each data piece follows the fields up to `end`.
  struct Cut {
    size_t end;
    std::string_view data;
  };
  std::vector<Cut> cuts;
  std::string& out = *fields;
  out.assign(kMagic);
  PutInteger(&out, contents.change, 8);
  out.append(contents.owner.begin(), contents.owner.end());
  PutInteger(&out, contents.items.size(), 4);
  for (const PasteboardItem& item : contents.items) {
    PutInteger(&out, item.id, 8);
    PutInteger(&out, item.flavors.size(), 4);
    for (const PasteboardFlavor& flavor : item.flavors) {
      PutInteger(&out, flavor.flags, 4);
      PutInteger(&out, flavor.type.size(), 4);
      out += flavor.type;
      PutInteger(&out, flavor.data.size(), 8);
      cuts.push_back({out.size(), flavor.data.view()});
    }
  }
  std::vector<std::string_view> pieces;
  size_t start = 0;
  for (const Cut& cut : cuts) {
    pieces.emplace_back(out.data() + start, cut.end - start);
    pieces.push_back(cut.data);
    start = cut.end;
  }
  pieces.emplace_back(out.data() + start, out.size() - start);
  return pieces;
}

std::optional<PasteboardHeader> DecodePasteboardHeader(std::string_view bytes) {
  Cursor in(bytes);
  if (in.Bytes(kMagic.size()) != kMagic)
    return std::nullopt;
  PasteboardHeader header;
  header.change = in.Integer(8);
  std::string_view owner = in.Bytes(header.owner.size());
  if (!in.ok())
    return std::nullopt;
  std::copy(owner.begin(), owner.end(), header.owner.begin());
  return header;
}

std::optional<PasteboardContents> DecodePasteboardContents(const cf::Data& bytes) {
  std::optional<PasteboardHeader> header = DecodePasteboardHeader(bytes);
  if (!header)
    return std::nullopt;
  Cursor in(bytes.view().substr(kPasteboardHeaderSize));
  PasteboardContents contents;
  contents.change = header->change;
  contents.owner = header->owner;
  uint64_t item_count = in.Count(kSmallestItem);
  contents.items.reserve(item_count);
  for (uint64_t i = 0; i < item_count && in.ok(); ++i) {
    PasteboardItem& item = contents.items.emplace_back();
    item.id = in.Integer(8);
    uint64_t flavor_count = in.Count(kSmallestFlavor);
    item.flavors.reserve(flavor_count);
    for (uint64_t j = 0; j < flavor_count && in.ok(); ++j) {
      PasteboardFlavor& flavor = item.flavors.emplace_back();
      flavor.flags = static_cast<uint32_t>(in.Integer(4));
      flavor.type = in.Bytes(in.Integer(4));
      const std::string_view data = in.Bytes(in.Integer(8));
      if (in.ok())
        flavor.data = bytes.Slice(static_cast<size_t>(data.data() - bytes.data()), data.size());
    }
  }
  if (!in.ok() || !in.at_end())
    return std::nullopt;
  return contents;
}
