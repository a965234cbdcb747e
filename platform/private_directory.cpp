#include "platform/private_directory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

int Fail(int error_number, std::string text, int* error, std::string* why) {
  *error = error_number;
  *why = std::move(text);
  return -1;
}

}  // namespace

int OpenPrivateDirectory(int parent_fd, const std::string& name, int* error, std::string* why) {
  if (mkdirat(parent_fd, name.c_str(), 0700) != 0 && errno != EEXIST) {
    int saved = errno;
    return Fail(saved, name + " cannot be created: " + std::strerror(saved), error, why);
  }
  // lstat first only to tell a link apart in the message; the checks that
  // count are made on the opened descriptor, which cannot change under us.
  struct stat info;
  if (fstatat(parent_fd, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(info.st_mode)) {
    return Fail(EPERM, name + " is a symbolic link", error, why);
  }
  int fd = openat(parent_fd, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (fd < 0) {
    int saved = errno;
    if (saved == ELOOP)
      return Fail(EPERM, name + " is a symbolic link", error, why);
    return Fail(saved, name + " cannot be opened: " + std::strerror(saved), error, why);
  }
  const char* refusal = nullptr;
  if (fstat(fd, &info) != 0) {
    int saved = errno;
    close(fd);
    return Fail(saved, name + " cannot be examined: " + std::strerror(saved), error, why);
  }
  if (info.st_uid != geteuid()) {
    refusal = " belongs to another user";
  } else if ((info.st_mode & 077) != 0) {
    refusal = " is open to group or others";
  }
  if (refusal != nullptr) {
    close(fd);
    return Fail(EPERM, name + refusal, error, why);
  }
  return fd;
}
