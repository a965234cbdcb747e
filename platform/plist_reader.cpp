#include "platform/plist_reader.h"

#include "platform/plist_binary_reader.h"
#include "platform/plist_limits.h"
#include "platform/plist_xml_reader.h"

cf::Ref<cf::Object> CFPropertyListCreateFromXMLData(std::string_view bytes,
                                                    std::string* errorString) {
  if (bytes.empty() || bytes.size() > cf::kMaxPropertyListBytes) {
    if (errorString != nullptr)
      *errorString = bytes.empty()
                         ? "no data"
                         : "larger than the " + std::to_string(cf::kMaxPropertyListBytes >> 20) +
                               " MiB a property list may take";
    return nullptr;
  }
  return IsBinaryPropertyList(bytes) ? ReadBinaryPropertyList(bytes, errorString)
                                     : ReadXmlPropertyList(bytes, errorString);
}
