// How big a property list the platform reads or writes at all.
//
// A publication sits in a file any process of the user can write, so every
// reader takes it as hostile and refuses, before building anything, what
// passes these limits; the writers never produce what a reader would refuse.
//
//   kMaxPropertyListBytes  the size of the serialised form, XML or binary:
//                          512 MiB. The largest real publication, 80,000
//                          fonts, is about 100 MB of XML; this bounds what a
//                          reader holds in memory (the bytes, then the tree,
//                          a small multiple of them) whatever the file says.
//   kMaxPropertyListDepth  how many containers (arrays and dictionaries) may
//                          stand inside one another: 512. A set tree nests a
//                          few levels; the readers keep a path of at most this
//                          many open containers and the writers recurse no
//                          deeper, so no input can exhaust a stack.
#ifndef PLATFORM_PLIST_LIMITS_H_
#define PLATFORM_PLIST_LIMITS_H_

#include <cstddef>

namespace cf {

inline constexpr size_t kMaxPropertyListBytes = size_t{512} * 1024 * 1024;
inline constexpr int kMaxPropertyListDepth = 512;

}  // namespace cf

#endif  // PLATFORM_PLIST_LIMITS_H_
