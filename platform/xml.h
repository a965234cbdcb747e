// XML property lists, byte for byte as the platform writes them.
#ifndef PLATFORM_XML_H_
#define PLATFORM_XML_H_

#include <optional>
#include <string>
#include <string_view>

#include "platform/data.h"
#include "platform/values.h"

// The XML property-list serialisation of `root`: the XML declaration and
// DOCTYPE lines, <plist version="1.0">, tab indentation, dictionary keys
// sorted (plist_xml_writer.h has the details). Nothing (nullopt) when `root`
// is null, holds a value that is not a property-list type (a URL), holds a
// cycle, or is too large or deep to write.
std::optional<cf::Data> CFPropertyListCreateXMLData(const cf::Object* root);

// Parses an XML (or binary) property list back into values. Null when the
// bytes are not a property list, are larger than cf::kMaxPropertyListBytes
// or nest deeper than cf::kMaxPropertyListDepth (platform/plist_limits.h),
// or hold a type the value model lacks (numbers, dates and data among
// them); then `*errorString`, when given, says why. What XML is read and
// what is refused: platform/plist_xml_reader.h.
cf::Ref<cf::Object> CFPropertyListCreateFromXMLData(std::string_view bytes,
                                                    std::string* errorString = nullptr);

#endif  // PLATFORM_XML_H_
