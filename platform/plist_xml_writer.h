// Values written as an XML property list, byte for byte as the platform
// writes them:
//
//   <?xml version="1.0" encoding="UTF-8"?>
//   <!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN"
//   "http://www.apple.com/DTDs/PropertyList-1.0.dtd"> <plist version="1.0"> <dict> the top value,
//   not indented 	<key>Fonts</key>                        one tab per level below it 	<array/> an
//   empty array or dictionary 	<key>HasParents</key> 	<true/> 	<key>SetName</key> 	<string>A &amp; B
//   &lt;1&gt;</string>   only &, < and > are escaped
//   </dict>
//   </plist>
//
// A dictionary's keys go out sorted in the order of their UTF-16 code units;
// an empty string is <string></string>; every other character, control
// characters included, is written as its UTF-8 bytes.
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

#endif  // PLATFORM_PLIST_XML_WRITER_H_
