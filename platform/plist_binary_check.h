// Binary property lists ("bplist00") told apart and checked before any
// parser is handed them: libplist trusts the tables inside the data.
#ifndef PLATFORM_PLIST_BINARY_CHECK_H_
#define PLATFORM_PLIST_BINARY_CHECK_H_

#include <string>
#include <string_view>

// True when `bytes` begin as a binary property list does.
bool IsBinaryPropertyList(std::string_view bytes);

// Whether libplist may be handed `bytes`, a binary property list, without
// harm: its tables point inside the data, its references form no cycle, no
// dictionary key holds U+0000 (libplist aborts on one) and its containers
// nest at most cf::kMaxPropertyListDepth deep (libplist recurses once per
// level). Otherwise false, with `*why` (when given) saying which. Walks the
// object tables without building anything.
bool BinaryPropertyListIsSafe(std::string_view bytes, std::string* why);

#endif  // PLATFORM_PLIST_BINARY_CHECK_H_
