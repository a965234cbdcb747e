// Platform status codes, and the one place where Linux errors become them.
#ifndef PLATFORM_STATUS_H_
#define PLATFORM_STATUS_H_

#include <cstdint>

using OSStatus = int32_t;
using OSErr = int16_t;

constexpr OSStatus noErr = 0;
constexpr OSStatus ioErr = -36;        // an input/output error
constexpr OSStatus fnfErr = -43;       // file or folder not found
constexpr OSStatus paramErr = -50;     // a bad argument
constexpr OSStatus permErr = -54;      // permission denied
constexpr OSStatus memFullErr = -108;  // out of memory
constexpr OSStatus badPasteboardSyncErr = -25130;
constexpr OSStatus notPasteboardOwnerErr = -25135;

// Maps an errno value onto the classic code that fits it:
//   ENOENT, ENOTDIR            -> fnfErr
//   EACCES, EPERM, EROFS       -> permErr
//   ENOMEM                     -> memFullErr
//   EINVAL, EBADF, ENAMETOOLONG, ELOOP -> paramErr
//   anything else              -> ioErr
// 0 maps to noErr.
OSStatus StatusFromErrno(int error_number);

#endif  // PLATFORM_STATUS_H_
