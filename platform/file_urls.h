// File URLs made from file references, and turned back into paths.
#ifndef PLATFORM_FILE_URLS_H_
#define PLATFORM_FILE_URLS_H_

#include <cstdint>

#include "platform/file_ref.h"
#include "platform/values.h"

// A URL for the referenced file's current path; null for an empty or vanished
// reference.
cf::Ref<cf::URL> CFURLCreateFromFSRef(const FSRef* ref);

// Writes the URL's path and a NUL into `buffer`, at most `maxBufLen` bytes in
// all. False, with nothing promised about the buffer, when the path does not
// fit or holds a NUL (no C string can carry it). URLs here are always absolute,
// so `resolveAgainstBase` changes nothing.
bool CFURLGetFileSystemRepresentation(const cf::URL* url, bool resolveAgainstBase, uint8_t* buffer,
                                      long maxBufLen);

#endif  // PLATFORM_FILE_URLS_H_
