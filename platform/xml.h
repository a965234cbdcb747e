// The platform's property-list calls, byte for byte as the platform makes
// and reads XML property lists: CFPropertyListCreateXMLData writes
// (plist_xml_writer.h), CFPropertyListCreateFromXMLData reads either form
// (plist_reader.h).
#ifndef PLATFORM_XML_H_
#define PLATFORM_XML_H_

#include "platform/plist_reader.h"
#include "platform/plist_xml_writer.h"

#endif  // PLATFORM_XML_H_
