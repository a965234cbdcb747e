// XML property lists read into values, in one pass over the bytes.
//
// The document is a property list's value - <string>, <key>, <true/>,
// <false/>, <array>, <dict> - alone or wrapped in one <plist> element (its
// attributes ignored), with anything that carries nothing around and between
// the elements: the XML declaration, a DOCTYPE, comments, processing
// instructions, white space (see platform/xml_scanner.h for how text and
// markup are read). The tree is the one libplist 2.2 reads from the same
// bytes: string content kept byte for byte, white space and CR LF included;
// a key repeated in a dictionary keeping its first place and its last value.
// Where libplist misreads well-formed XML, the reader goes by XML: a
// byte-order mark, <key/>, a '>' inside a single-quoted attribute value,
// "]>" inside a comment or literal of the DOCTYPE's internal subset, a
// processing instruction inside a string, a character reference with
// leading zeros.
// Where libplist reads past what XML allows, the reader refuses (below):
// anything after the top value, text in a boolean, a <key> outside a
// dictionary, "&ampx;".
//
// The bytes come from a file any process of the user can write, so the
// document is refused, with the reason in `*why`, when it:
// - nests containers deeper than cf::kMaxPropertyListDepth
//   (platform/plist_limits.h); open containers are kept on a path of their
//   own, so depth never costs stack. (A document larger than
//   cf::kMaxPropertyListBytes is refused before it comes here, by
//   CFPropertyListCreateFromXMLData.)
// - holds a byte that is not well-formed UTF-8, or U+0000, anywhere;
// - references an entity other than XML's five predefined ones: entities a
//   DOCTYPE declares are never expanded, external ones never read;
// - ends early, closes a tag it did not open, has text outside the elements
//   or between a container's values, a key with no value or a value with no
//   key, or two values at the top;
// - holds <integer>, <real>, <date> or <data>, which the value model lacks,
//   or an element that is no property-list element.
#ifndef PLATFORM_PLIST_XML_READER_H_
#define PLATFORM_PLIST_XML_READER_H_

#include <string>
#include <string_view>

#include "platform/values.h"

// The value of an XML property list, or null with `*why` (when given) saying
// what is wrong with it.
cf::Ref<cf::Object> ReadXmlPropertyList(std::string_view xml, std::string* why);

#endif  // PLATFORM_PLIST_XML_READER_H_
