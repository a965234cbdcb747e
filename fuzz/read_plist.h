// What a listener must always get from the bytes on the pasteboard, checked
// in one call: a tree, or null with a reason; and a tree that the writer
// writes and the reader reads back as the same tree. Shared by the fuzz
// target and the regression test of the inputs it found.
#ifndef FUZZ_READ_PLIST_H_
#define FUZZ_READ_PLIST_H_

#include <string>
#include <string_view>

namespace qbfa_fuzz {

// Empty when all holds, else what did not.
std::string ReadPropertyList(std::string_view bytes);

}  // namespace qbfa_fuzz

#endif  // FUZZ_READ_PLIST_H_
