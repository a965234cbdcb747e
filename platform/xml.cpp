#include "platform/xml.h"

#include <plist/plist.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <unordered_map>
#include <vector>

#include "platform/strings.h"
#include "platform/utf8.h"

namespace {

// libplist writes and reads nested containers recursively, so a tree deeper
// than this could exhaust the stack; such trees are refused both ways.
constexpr int kMaxDepth = 512;
// A child shared by several parents is written out in full under each, so a
// tree of shared children can stand for an exponentially large document.
// Refuse to write more nodes than any real set tree holds.
constexpr size_t kMaxNodes = 8 * 1024 * 1024;

struct PlistDeleter {
  void operator()(void* node) const { plist_free(node); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

// Checks, before anything is built, that `root` can be written: no cycle,
// no deeper than kMaxDepth, no more than kMaxNodes once shared children are
// written out in full. Walks iteratively, remembering what it measured, so
// the check costs one visit per object whatever the tree stands for.
bool FitsTheWriter(const cf::Object* root) {
  struct Measure {
    bool on_path = true;
    size_t nodes = 1;
    int depth = 0;
  };
  std::unordered_map<const cf::Object*, Measure> measured;
  struct Frame {
    const cf::Object* object;
    std::vector<const cf::Object*> children;
    size_t next = 0;
  };
  std::vector<Frame> path;
  auto enter = [&](const cf::Object* object) {
    measured.emplace(object, Measure{});
    Frame frame{object, {}};
    if (const cf::Array* array = object->AsArray()) {
      for (const auto& item : *array)
        frame.children.push_back(item.get());
    } else if (const cf::Dictionary* dictionary = object->AsDictionary()) {
      for (const auto& entry : *dictionary)
        frame.children.push_back(entry.value.get());
    }
    path.push_back(std::move(frame));
  };
  enter(root);
  while (!path.empty()) {
    Frame& frame = path.back();
    if (frame.next < frame.children.size()) {
      const cf::Object* child = frame.children[frame.next++];
      auto found = measured.find(child);
      if (found == measured.end()) {
        enter(child);
      } else if (found->second.on_path) {
        return false;  // A cycle.
      }
      continue;
    }
    Measure& measure = measured[frame.object];
    for (const cf::Object* child : frame.children) {
      const Measure& below = measured[child];
      measure.nodes = std::min(measure.nodes + below.nodes, kMaxNodes + 1);
      measure.depth = std::max(measure.depth, below.depth + 1);
    }
    measure.on_path = false;
    if (measure.nodes > kMaxNodes || measure.depth > kMaxDepth)
      return false;
    path.pop_back();
  }
  return true;
}

// libplist takes C strings, so text holding U+0000 cannot pass; XML has no
// way to carry that character anyway.
bool Writable(std::string_view text) {
  return text.find('\0') == std::string_view::npos && cf::IsWellFormedUtf8(text);
}

// The libplist tree for `object`, or null when it holds something that is no
// property-list value. Recursion is bounded: FitsTheWriter came first.
PlistPtr Build(const cf::Object* object) {
  switch (object->type()) {
    case cf::TypeID::kString: {
      const cf::String* text = object->AsString();
      return Writable(text->utf8()) ? PlistPtr(plist_new_string(text->c_str())) : nullptr;
    }
    case cf::TypeID::kBoolean:
      return PlistPtr(plist_new_bool(object->AsBoolean()->value()));
    case cf::TypeID::kURL:
      return nullptr;
    case cf::TypeID::kArray: {
      PlistPtr node(plist_new_array());
      for (const cf::Ref<cf::Object>& item : *object->AsArray()) {
        PlistPtr child = Build(item.get());
        if (!child)
          return nullptr;
        plist_array_append_item(node.get(), child.release());
      }
      return node;
    }
    case cf::TypeID::kDictionary: {
      // Keys go out sorted as UTF-16 code units order them; libplist keeps
      // the order of insertion.
      std::vector<const cf::Dictionary::Entry*> entries;
      for (const cf::Dictionary::Entry& entry : *object->AsDictionary())
        entries.push_back(&entry);
      std::sort(entries.begin(), entries.end(), [](const auto* a, const auto* b) {
        return cf::CompareAsUtf16(a->key, b->key) == kCFCompareLessThan;
      });
      PlistPtr node(plist_new_dict());
      for (const cf::Dictionary::Entry* entry : entries) {
        PlistPtr child = Writable(entry->key) ? Build(entry->value.get()) : nullptr;
        if (!child)
          return nullptr;
        plist_dict_set_item(node.get(), entry->key.c_str(), child.release());
      }
      return node;
    }
  }
  return nullptr;
}

// How deeply the containers of an XML property list nest, counted from its
// tags. Tags inside comments count too, which errs on the safe side.
int XmlNestingDepth(std::string_view xml) {
  int depth = 0, deepest = 0;
  for (size_t at = xml.find('<'); at != std::string_view::npos; at = xml.find('<', at + 1)) {
    std::string_view tag = xml.substr(at + 1);
    size_t end = tag.find('>');
    if (end == std::string_view::npos)
      break;
    tag = tag.substr(0, end);
    bool closing = tag.starts_with('/');
    if (closing)
      tag.remove_prefix(1);
    size_t name_end = tag.find_first_of(" \t\r\n/");
    std::string_view name = tag.substr(0, name_end);
    if (name != "array" && name != "dict")
      continue;
    if (closing) {
      --depth;
    } else if (!tag.ends_with('/')) {
      deepest = std::max(deepest, ++depth);
    }
  }
  return deepest;
}

uint64_t ReadBigEndian(std::string_view bytes, size_t at, size_t size) {
  uint64_t value = 0;
  for (size_t i = 0; i < size; ++i)
    value = (value << 8) | static_cast<unsigned char>(bytes[at + i]);
  return value;
}

// How deeply the containers of a binary property list nest (longest chain of
// references from the top object), or -1 when its tables are inconsistent
// or its references form a cycle. Walks iteratively, so depth costs no stack.
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

  // The references an object holds, when it is a container; false when the
  // object does not fit in the data.
  auto children = [&](uint64_t object, std::vector<uint64_t>* refs) {
    refs->clear();
    uint64_t at = ReadBigEndian(data, table + object * offset_size, offset_size);
    if (at >= trailer)
      return false;
    unsigned char marker = static_cast<unsigned char>(data[at]);
    unsigned kind = marker >> 4;
    if (kind != 0xA && kind != 0xC && kind != 0xD)
      return true;  // Not a container.
    uint64_t length = marker & 0xF;
    ++at;
    if (length == 0xF) {  // The length follows as an integer object.
      if (at >= trailer)
        return false;
      unsigned char int_marker = static_cast<unsigned char>(data[at]);
      size_t int_size = size_t{1} << (int_marker & 0xF);
      if ((int_marker >> 4) != 0x1 || int_size > 8 || trailer - at - 1 < int_size)
        return false;
      length = ReadBigEndian(data, at + 1, int_size);
      at += 1 + int_size;
    }
    uint64_t ref_count = kind == 0xD ? length * 2 : length;
    if (length > trailer || ref_count > (trailer - at) / ref_size)
      return false;
    for (uint64_t i = 0; i < ref_count; ++i) {
      uint64_t ref = ReadBigEndian(data, at + i * ref_size, ref_size);
      if (ref >= count)
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

cf::Ref<cf::Object> Convert(plist_t node, int depth) {
  if (depth > kMaxDepth)
    return nullptr;
  switch (plist_get_node_type(node)) {
    case PLIST_STRING: {
      uint64_t length = 0;
      const char* text = plist_get_string_ptr(node, &length);
      return cf::String::Create(std::string_view(text, length));
    }
    case PLIST_BOOLEAN: {
      uint8_t value = 0;
      plist_get_bool_val(node, &value);
      return value ? cf::Boolean::True() : cf::Boolean::False();
    }
    case PLIST_ARRAY: {
      cf::Ref<cf::Array> array = cf::Array::Create();
      for (uint32_t i = 0, size = plist_array_get_size(node); i < size; ++i) {
        cf::Ref<cf::Object> item = Convert(plist_array_get_item(node, i), depth + 1);
        if (!item)
          return nullptr;
        array->Append(std::move(item));
      }
      return array;
    }
    case PLIST_DICT: {
      cf::Ref<cf::Dictionary> dictionary = cf::Dictionary::Create();
      plist_dict_iter iterator = nullptr;
      plist_dict_new_iter(node, &iterator);
      bool complete = true;
      while (complete) {
        char* key = nullptr;
        plist_t value = nullptr;
        plist_dict_next_item(node, iterator, &key, &value);
        if (!value) {
          std::free(key);
          break;
        }
        cf::Ref<cf::Object> converted = Convert(value, depth + 1);
        complete = converted && key && cf::IsWellFormedUtf8(key);
        if (complete)
          dictionary->Set(key, std::move(converted));
        std::free(key);
      }
      std::free(iterator);
      return complete ? dictionary : nullptr;
    }
    default:
      return nullptr;  // Numbers, dates, data and the like have no value here.
  }
}

}  // namespace

std::optional<std::string> CFPropertyListCreateXMLData(const cf::Object* root) {
  if (!root || !FitsTheWriter(root))
    return std::nullopt;
  PlistPtr tree = Build(root);
  if (!tree)
    return std::nullopt;
  char* xml = nullptr;
  uint32_t length = 0;
  plist_to_xml(tree.get(), &xml, &length);
  if (!xml)
    return std::nullopt;
  std::string result(xml, length);
  plist_to_xml_free(xml);
  return result;
}

cf::Ref<cf::Object> CFPropertyListCreateFromXMLData(std::string_view bytes) {
  if (bytes.empty() || bytes.size() > UINT32_MAX)
    return nullptr;
  auto length = static_cast<uint32_t>(bytes.size());
  bool binary = plist_is_binary(bytes.data(), length);
  int depth = binary ? BinaryNestingDepth(bytes) : XmlNestingDepth(bytes);
  if (depth < 0 || depth > kMaxDepth)
    return nullptr;
  plist_t parsed = nullptr;
  if (binary) {
    plist_from_bin(bytes.data(), length, &parsed);
  } else {
    plist_from_xml(bytes.data(), length, &parsed);
  }
  if (!parsed)
    return nullptr;
  PlistPtr tree(parsed);
  return Convert(tree.get(), 0);
}
