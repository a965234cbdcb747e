#include "platform/plist_xml_reader.h"

#include <plist/plist.h>

#include <algorithm>
#include <cstdint>

#include "platform/libplist_values.h"

namespace {

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

cf::Ref<cf::Object> ReadXmlPropertyList(std::string_view xml, std::string* why) {
  if (xml.size() > UINT32_MAX || XmlNestingDepth(xml) > cf::kMaxPropertyListDepth) {
    if (why != nullptr)
      *why = "too large or nested too deeply";
    return nullptr;
  }
  plist_t parsed = nullptr;
  plist_from_xml(xml.data(), static_cast<uint32_t>(xml.size()), &parsed);
  if (!parsed) {
    if (why != nullptr)
      *why = "not a property list";
    return nullptr;
  }
  cf::Ref<cf::Object> value = cf::CreateValueFromPlistNode(parsed);
  plist_free(parsed);
  if (!value && why != nullptr)
    *why = "holds a value other than strings, booleans, arrays and dictionaries";
  return value;
}
