#include "platform/plist_binary_check.h"

#include <plist/plist.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "platform/plist_limits.h"

namespace {

uint64_t ReadBigEndian(std::string_view bytes, size_t at, size_t size) {
  uint64_t value = 0;
  for (size_t i = 0; i < size; ++i)
    value = (value << 8) | static_cast<unsigned char>(bytes[at + i]);
  return value;
}

// How deeply the containers of a binary property list nest (longest chain of
// references from the top object), or -1 when its tables are inconsistent,
// its references form a cycle or a dictionary key holds U+0000. Walks
// iteratively, so depth costs no stack.
int BinaryNestingDepth(std::string_view data) {
  constexpr size_t kTrailerSize = 32;
  if (data.size() < 8 + kTrailerSize)
    return -1;
  size_t trailer = data.size() - kTrailerSize;
  size_t offset_size = static_cast<unsigned char>(data[trailer + 6]);
  size_t ref_size = static_cast<unsigned char>(data[trailer + 7]);
  uint64_t count = ReadBigEndian(data, trailer + 8, 8);
  uint64_t top = ReadBigEndian(data, trailer + 16, 8);
  uint64_t table = ReadBigEndian(data, trailer + 24, 8);
  if (offset_size < 1 || offset_size > 8 || ref_size < 1 || ref_size > 8)
    return -1;
  if (top >= count || table > trailer || count > (trailer - table) / offset_size)
    return -1;

  // The kind of an object (its marker's high nibble), the count its marker
  // gives (of bytes, UTF-16 units or references) and where what it counts
  // starts; false when that does not fit in the data.
  auto header = [&](uint64_t object, unsigned* kind, uint64_t* length, uint64_t* content) {
    uint64_t at = ReadBigEndian(data, table + object * offset_size, offset_size);
    if (at >= trailer)
      return false;
    unsigned char marker = static_cast<unsigned char>(data[at]);
    *kind = marker >> 4;
    *length = marker & 0xF;
    ++at;
    if (*length == 0xF && (*kind == 0x5 || *kind == 0x6 || *kind == 0xA || *kind >= 0xC)) {
      // The length follows as an integer object.
      if (at >= trailer)
        return false;
      unsigned char int_marker = static_cast<unsigned char>(data[at]);
      size_t int_size = size_t{1} << (int_marker & 0xF);
      if ((int_marker >> 4) != 0x1 || int_size > 8 || trailer - at - 1 < int_size)
        return false;
      *length = ReadBigEndian(data, at + 1, int_size);
      at += 1 + int_size;
    }
    *content = at;
    return true;
  };

  // Whether a dictionary key holds U+0000: libplist asserts that a key's
  // length is that of a C string, so such a key would abort the process.
  auto key_holds_nul = [&](uint64_t key) {
    unsigned kind;
    uint64_t length, at;
    if (!header(key, &kind, &length, &at))
      return true;
    const uint64_t bytes = kind == 0x6 ? 2 * length : length;
    if (kind != 0x5 && kind != 0x6)
      return false;  // libplist refuses a key of any other kind.
    if (length > trailer || bytes > trailer - at)
      return true;
    for (uint64_t i = 0; i < bytes; i += kind == 0x6 ? 2 : 1) {
      if (data[at + i] == '\0' && (kind == 0x5 || data[at + i + 1] == '\0'))
        return true;
    }
    return false;
  };

  // The references an object holds, when it is a container; false when the
  // object does not fit in the data, or is a dictionary with a key libplist
  // cannot take.
  auto children = [&](uint64_t object, std::vector<uint64_t>* refs) {
    refs->clear();
    unsigned kind;
    uint64_t length, at;
    if (!header(object, &kind, &length, &at))
      return false;
    if (kind != 0xA && kind != 0xC && kind != 0xD)
      return true;  // Not a container.
    uint64_t ref_count = kind == 0xD ? length * 2 : length;
    if (length > trailer || ref_count > (trailer - at) / ref_size)
      return false;
    for (uint64_t i = 0; i < ref_count; ++i) {
      uint64_t ref = ReadBigEndian(data, at + i * ref_size, ref_size);
      if (ref >= count || (kind == 0xD && i < length && key_holds_nul(ref)))
        return false;
      refs->push_back(ref);
    }
    return true;
  };

  enum : uint8_t { kUnseen, kOnPath, kDone };
  std::vector<uint8_t> state(count, kUnseen);
  std::vector<int> depth(count, 0);
  struct Frame {
    uint64_t object;
    std::vector<uint64_t> refs;
    size_t next = 0;
  };
  std::vector<Frame> path;
  auto enter = [&](uint64_t object) {
    path.push_back(Frame{object, {}});
    state[object] = kOnPath;
    return children(object, &path.back().refs);
  };
  if (!enter(top))
    return -1;
  while (!path.empty()) {
    Frame& frame = path.back();
    if (frame.next == frame.refs.size()) {
      int deepest = 0;
      for (uint64_t ref : frame.refs)
        deepest = std::max(deepest, depth[ref]);
      depth[frame.object] = frame.refs.empty() ? 0 : deepest + 1;
      state[frame.object] = kDone;
      path.pop_back();
      continue;
    }
    uint64_t child = frame.refs[frame.next++];
    if (state[child] == kOnPath)
      return -1;
    if (state[child] == kUnseen && !enter(child))
      return -1;
  }
  return depth[top];
}

}  // namespace

bool IsBinaryPropertyList(std::string_view bytes) {
  return bytes.size() <= UINT32_MAX &&
         plist_is_binary(bytes.data(), static_cast<uint32_t>(bytes.size()));
}

bool BinaryPropertyListIsSafe(std::string_view bytes, std::string* why) {
  // libplist reads nested containers recursively: the depth is measured
  // first, iteratively, so that no input can exhaust the stack.
  const int depth = BinaryNestingDepth(bytes);
  const char* problem = nullptr;
  if (depth < 0) {
    problem =
        "damaged binary property list (its tables or references are inconsistent, or a "
        "key holds U+0000)";
  } else if (depth > cf::kMaxPropertyListDepth) {
    problem = "binary property list nested too deeply";
  }
  if (problem != nullptr && why != nullptr)
    *why = problem;
  return problem == nullptr;
}
