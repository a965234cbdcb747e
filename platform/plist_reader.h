// A property list of either form, XML or binary, read into values: the
// platform's call for it.
#ifndef PLATFORM_PLIST_READER_H_
#define PLATFORM_PLIST_READER_H_

#include <string>
#include <string_view>

#include "platform/values.h"

// Parses an XML (or binary) property list back into values. Null when the
// bytes are not a property list, are larger than cf::kMaxPropertyListBytes
// or nest deeper than cf::kMaxPropertyListDepth (platform/plist_limits.h),
// or hold a type the value model lacks (numbers, dates and data among
// them); then `*errorString`, when given, says why. What XML is read and
// what is refused: platform/plist_xml_reader.h.
cf::Ref<cf::Object> CFPropertyListCreateFromXMLData(std::string_view bytes,
                                                    std::string* errorString = nullptr);

#endif  // PLATFORM_PLIST_READER_H_
