// Values written as an XML property list.
#ifndef PLATFORM_PLIST_XML_WRITER_H_
#define PLATFORM_PLIST_XML_WRITER_H_

#include <optional>
#include <string>

#include "platform/values.h"

std::optional<std::string> WriteXmlPropertyList(const cf::Object* root);

#endif  // PLATFORM_PLIST_XML_WRITER_H_
