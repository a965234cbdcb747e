#include "platform/status.h"

#include <cerrno>

OSStatus StatusFromErrno(int error_number) {
  switch (error_number) {
    case 0:
      return noErr;
    case ENOENT:
    case ENOTDIR:
      return fnfErr;
    case EACCES:
    case EPERM:
    case EROFS:
      return permErr;
    case ENOMEM:
      return memFullErr;
    case EINVAL:
    case EBADF:
    case ENAMETOOLONG:
    case ELOOP:
      return paramErr;
    default:
      return ioErr;
  }
}
