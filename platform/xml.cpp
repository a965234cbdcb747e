#include "platform/xml.h"

#include "platform/plist_binary_reader.h"
#include "platform/plist_xml_reader.h"
#include "platform/plist_xml_writer.h"

std::optional<cf::Data> CFPropertyListCreateXMLData(const cf::Object* root) {
  return WriteXmlPropertyList(root);
}

cf::Ref<cf::Object> CFPropertyListCreateFromXMLData(std::string_view bytes,
                                                    std::string* errorString) {
  if (bytes.empty()) {
    if (errorString != nullptr)
      *errorString = "no data";
    return nullptr;
  }
  return IsBinaryPropertyList(bytes) ? ReadBinaryPropertyList(bytes, errorString)
                                     : ReadXmlPropertyList(bytes, errorString);
}
