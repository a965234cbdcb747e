// Binary property lists ("bplist00") read into values through libplist,
// once plist_binary_check.h has found them safe to hand over.
#ifndef PLATFORM_PLIST_BINARY_READER_H_
#define PLATFORM_PLIST_BINARY_READER_H_

#include <string>
#include <string_view>

#include "platform/plist_binary_check.h"
#include "platform/values.h"

// The value of a binary property list, or null with `*why` (when given)
// saying what is wrong: what BinaryPropertyListIsSafe refuses, or a type
// the value model lacks.
cf::Ref<cf::Object> ReadBinaryPropertyList(std::string_view bytes, std::string* why);

#endif  // PLATFORM_PLIST_BINARY_READER_H_
