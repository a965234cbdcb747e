// XML property lists read into values.
#ifndef PLATFORM_PLIST_XML_READER_H_
#define PLATFORM_PLIST_XML_READER_H_

#include <string>
#include <string_view>

#include "platform/values.h"

// The value of an XML property list, or null with `*why` (when given) saying
// what is wrong with it.
cf::Ref<cf::Object> ReadXmlPropertyList(std::string_view xml, std::string* why);

#endif  // PLATFORM_PLIST_XML_READER_H_
