#include <optional>

#include "fuzz/checks.h"
#include "platform/plist_binary_reader.h"
#include "platform/xml.h"

namespace qbfa_fuzz {
namespace {

std::string ReadPropertyList(std::string_view bytes) {
  std::string why;
  const cf::Ref<cf::Object> tree = CFPropertyListCreateFromXMLData(bytes, &why);
  if (!tree)
    return why.empty() ? "refused without a reason" : "";
  const std::optional<cf::Data> xml = CFPropertyListCreateXMLData(tree.get());
  if (!xml) {
    // Only a binary list can hold what XML cannot carry: U+0000, or shared
    // children that would be written out an exponential number of times.
    return IsBinaryPropertyList(bytes) ? "" : "read a tree the writer cannot write";
  }
  const cf::Ref<cf::Object> back = CFPropertyListCreateFromXMLData(*xml, &why);
  if (!back)
    return "cannot read its own tree back: " + why;
  return cf::Equal(back.get(), tree.get()) ? "" : "reads its own tree back as another";
}

}  // namespace

std::string CheckXmlPropertyList(std::string_view input) {
  return IsBinaryPropertyList(input) ? "" : ReadPropertyList(input);
}

std::string CheckBinaryPropertyList(std::string_view input) {
  return IsBinaryPropertyList(input) ? ReadPropertyList(input) : "";
}

}  // namespace qbfa_fuzz
