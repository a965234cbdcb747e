#include "tests/platform/libplist_oracle.h"

#include <plist/plist.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "platform/libplist_values.h"
#include "platform/strings.h"
#include "platform/utf8.h"

namespace oracle {
namespace {

constexpr int kMaxDepth = cf::kMaxPropertyListDepth;

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

}  // namespace

std::optional<std::string> LibplistXml(const cf::Object* root) {
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

cf::Ref<cf::Object> LibplistParse(std::string_view xml) {
  if (xml.empty() || xml.size() > UINT32_MAX || XmlNestingDepth(xml) > kMaxDepth)
    return nullptr;
  plist_t parsed = nullptr;
  plist_from_xml(xml.data(), static_cast<uint32_t>(xml.size()), &parsed);
  if (!parsed)
    return nullptr;
  PlistPtr tree(parsed);
  return cf::CreateValueFromPlistNode(tree.get());
}

}  // namespace oracle
