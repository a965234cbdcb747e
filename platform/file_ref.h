// File references: a handle that follows one file, not a name.
//
// An FSRef holds the file open (O_PATH), so it keeps naming the same file when
// the file is renamed, and a file that replaces it under the old name is a
// different file. Copies share the one descriptor.
#ifndef PLATFORM_FILE_REF_H_
#define PLATFORM_FILE_REF_H_

#include <cstdint>
#include <memory>

#include "platform/status.h"
#include "platform/values.h"

struct FSRef {
  std::shared_ptr<const int> descriptor;  // the O_PATH descriptor; null for an empty reference
};

// Fills `ref` with the file `url` names. False when the file cannot be reached
// (it does not exist, or a folder on the way cannot be searched).
bool CFURLGetFSRef(const cf::URL* url, FSRef* ref);

// The current path of the referenced file, NUL-terminated, into `path`
// (at most `max_size` bytes including the NUL). noErr, or fnfErr for an empty
// or vanished reference, paramErr when the path does not fit.
OSStatus FSRefMakePath(const FSRef* ref, uint8_t* path, uint32_t max_size);

// Seconds since 1 January 2001 00:00:00 GMT, the platform's absolute time.
using CFAbsoluteTime = double;

// A UTC date as the catalog reports it: seconds since 1 January 1904 GMT in
// 48 bits (highSeconds:lowSeconds) and 1/65536 second in `fraction`. Linux
// file times carry nanoseconds, which `fraction` cannot hold; `nanoseconds`
// keeps them (0 to 999,999,999) so that two writes within one 1/65536 s stay
// apart. The converter uses `nanoseconds` and ignores `fraction`.
struct UTCDateTime {
  uint16_t highSeconds;
  uint32_t lowSeconds;
  uint16_t fraction;
  uint32_t nanoseconds;
};

using FSCatalogInfoBitmap = uint32_t;
constexpr FSCatalogInfoBitmap kFSCatInfoContentMod = 0x00000040;

struct FSCatalogInfo {
  UTCDateTime contentModDate;
};

// Reads the asked-for catalog information of the referenced file (from the
// file itself, not from a name). Only kFSCatInfoContentMod is supported; the
// three out-parameters the platform offers must be null.
OSStatus FSGetCatalogInfo(const FSRef* ref, FSCatalogInfoBitmap which, FSCatalogInfo* info,
                          void* out_name, void* fs_spec, FSRef* parent_ref);

// Converts a catalog date into seconds since 1 January 2001 GMT.
OSStatus UCConvertUTCDateTimeToCFAbsoluteTime(const UTCDateTime* date, CFAbsoluteTime* out);

#endif  // PLATFORM_FILE_REF_H_
