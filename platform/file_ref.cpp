#include "platform/file_ref.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <string>

namespace {

// Seconds from the catalog's epoch, 1 January 1904 GMT, to the Unix epoch and
// to the platform's absolute-time epoch, 1 January 2001 GMT.
constexpr int64_t kSeconds1904To1970 = 2082844800;
constexpr int64_t kSeconds1904To2001 = 3061152000;
constexpr int64_t kLargestCatalogSeconds = (int64_t{1} << 48) - 1;
constexpr int64_t kNanosecondsPerSecond = 1000000000;

// The descriptor of a non-empty reference, or -1.
int DescriptorOf(const FSRef* ref) {
  return ref->descriptor ? *ref->descriptor : -1;
}

// Reads the referenced file's status. A file that has lost its last name has
// vanished for the catalog, even while the reference keeps it open.
OSStatus StatReferenced(const FSRef* ref, struct stat* status) {
  int fd = DescriptorOf(ref);
  if (fd < 0)
    return fnfErr;
  if (fstat(fd, status) != 0)
    return StatusFromErrno(errno);
  return status->st_nlink == 0 ? fnfErr : noErr;
}

}  // namespace

bool CFURLGetFSRef(const cf::URL* url, FSRef* ref) {
  if (!url || !ref)
    return false;
  // A path with a NUL inside would name a different file once handed to the
  // system.
  const std::string& path = url->path();
  if (path.empty() || path.find('\0') != std::string::npos)
    return false;
  int fd = open(path.c_str(), O_PATH | O_CLOEXEC);
  if (fd < 0)
    return false;
  ref->descriptor = std::shared_ptr<const int>(new int(fd), [](const int* owned) {
    close(*owned);
    delete owned;
  });
  return true;
}

OSStatus FSRefMakePath(const FSRef* ref, uint8_t* path, uint32_t max_size) {
  if (!ref || !path || max_size == 0)
    return paramErr;
  struct stat referenced;
  if (OSStatus status = StatReferenced(ref, &referenced))
    return status;

  std::string own_entry = "/proc/self/fd/" + std::to_string(DescriptorOf(ref));
  char target[PATH_MAX + 1];
  ssize_t length = readlink(own_entry.c_str(), target, sizeof target);
  if (length < 0)
    return StatusFromErrno(errno);
  if (static_cast<size_t>(length) >= sizeof target)
    return paramErr;
  target[length] = '\0';

  // The kernel names the file by the name it was opened under, kept up to
  // date through renames; when that name was removed while another link
  // remains, the text no longer leads to the file. Only a path that leads
  // back to the very file is an answer.
  struct stat named;
  if (target[0] != '/' || stat(target, &named) != 0 || named.st_dev != referenced.st_dev ||
      named.st_ino != referenced.st_ino) {
    return fnfErr;
  }
  if (static_cast<size_t>(length) + 1 > max_size)
    return paramErr;
  memcpy(path, target, static_cast<size_t>(length) + 1);
  return noErr;
}

OSStatus FSGetCatalogInfo(const FSRef* ref, FSCatalogInfoBitmap which, FSCatalogInfo* info,
                          void* out_name, void* fs_spec, FSRef* parent_ref) {
  if (!ref || (which & ~kFSCatInfoContentMod) || (which && !info) || out_name || fs_spec ||
      parent_ref) {
    return paramErr;
  }
  struct stat referenced;
  if (OSStatus status = StatReferenced(ref, &referenced))
    return status;
  if (!(which & kFSCatInfoContentMod))
    return noErr;

  int64_t seconds = referenced.st_mtim.tv_sec + kSeconds1904To1970;
  int64_t nanoseconds = referenced.st_mtim.tv_nsec;
  // The catalog cannot express dates outside its 48 bits of seconds from
  // 1904; it shows them as its first or last instant.
  if (seconds < 0) {
    seconds = 0;
    nanoseconds = 0;
  } else if (seconds > kLargestCatalogSeconds) {
    seconds = kLargestCatalogSeconds;
    nanoseconds = kNanosecondsPerSecond - 1;
  }
  UTCDateTime& date = info->contentModDate;
  date.highSeconds = static_cast<uint16_t>(seconds >> 32);
  date.lowSeconds = static_cast<uint32_t>(seconds);
  date.fraction = static_cast<uint16_t>((nanoseconds << 16) / kNanosecondsPerSecond);
  date.nanoseconds = static_cast<uint32_t>(nanoseconds);
  return noErr;
}

OSStatus UCConvertUTCDateTimeToCFAbsoluteTime(const UTCDateTime* date, CFAbsoluteTime* out) {
  if (!date || !out || date->nanoseconds >= kNanosecondsPerSecond)
    return paramErr;
  int64_t seconds_since_1904 = (int64_t{date->highSeconds} << 32) | date->lowSeconds;
  // Whole seconds are subtracted exactly before the fraction joins them.
  *out = static_cast<double>(seconds_since_1904 - kSeconds1904To2001) +
         static_cast<double>(date->nanoseconds) / kNanosecondsPerSecond;
  return noErr;
}
