// Values written as an XML property list, byte for byte as the platform
// writes them. A dictionary at the top, with \t for a tab and \n for a line
// end:
//
// clang-format off
//   <?xml version="1.0" encoding="UTF-8"?>\n
//   <!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">\n
//   <plist version="1.0">\n
//   <dict>\n
//   \t<key>Fonts</key>\n
//   \t<array/>\n
//   \t<key>SetName</key>\n
//   \t<string>A &amp; B &lt;1&gt;</string>\n
//   </dict>\n
//   </plist>\n
// clang-format on
//
// - The top value is not indented; each level below it, one tab more.
// - An empty array or dictionary is one tag, <array/> or <dict/>; an empty
//   string is <string></string>; booleans are <true/> and <false/>.
// - Only &, < and > are escaped. Every other character, control characters
//   included, goes out as its UTF-8 bytes.
// - A dictionary's keys go out sorted in the order of their UTF-16 code units.
#ifndef PLATFORM_PLIST_XML_WRITER_H_
#define PLATFORM_PLIST_XML_WRITER_H_

#include <cstddef>
#include <optional>

#include "platform/data.h"
#include "platform/plist_limits.h"
#include "platform/values.h"

// A shared child is written out in full under each parent, so a small tree
// of shared children can stand for an exponentially large document: more
// values than this, counted as written, are refused.
inline constexpr size_t kMaxWrittenValues = 8 * 1024 * 1024;

// The XML of `root` in one buffer, written in one walk of the tree. Nothing
// when `root` is null or holds what a property list cannot: a URL, a cycle,
// a string with U+0000 in it, a key that is not UTF-8, containers nested
// deeper than cf::kMaxPropertyListDepth, more than kMaxWrittenValues values,
// or more XML than cf::kMaxPropertyListBytes, which no reader would take.
std::optional<cf::Data> WriteXmlPropertyList(const cf::Object* root);

// The same under the platform's name. Nothing (nullopt) as well when `root`
// is null.
inline std::optional<cf::Data> CFPropertyListCreateXMLData(const cf::Object* root) {
  return WriteXmlPropertyList(root);
}

#endif  // PLATFORM_PLIST_XML_WRITER_H_
