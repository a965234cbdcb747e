// Binary property lists ("bplist00"), read through libplist.
#ifndef PLATFORM_PLIST_BINARY_READER_H_
#define PLATFORM_PLIST_BINARY_READER_H_

#include <string>
#include <string_view>

#include "platform/values.h"

// True when `bytes` begin as a binary property list does.
bool IsBinaryPropertyList(std::string_view bytes);

// Whether libplist may be handed `bytes`, a binary property list, without
// harm: its tables point inside the data, its references form no cycle, no
// dictionary key holds U+0000 (libplist aborts on one) and its containers
// nest at most cf::kMaxPropertyListDepth deep (libplist recurses once per
// level). Otherwise false, with `*why` (when given) saying which.
bool BinaryPropertyListIsSafe(std::string_view bytes, std::string* why);

// The value of a binary property list, or null with `*why` (when given)
// saying what is wrong: tables that point outside the data, references that
// form a cycle, a key holding U+0000, nesting past cf::kMaxPropertyListDepth,
// or a type the value model lacks.
cf::Ref<cf::Object> ReadBinaryPropertyList(std::string_view bytes, std::string* why);

#endif  // PLATFORM_PLIST_BINARY_READER_H_
