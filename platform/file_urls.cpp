#include "platform/file_urls.h"

#include <climits>
#include <cstring>
#include <vector>

cf::Ref<cf::URL> CFURLCreateFromFSRef(const FSRef* ref) {
  if (ref == nullptr)
    return nullptr;
  std::vector<uint8_t> path(PATH_MAX);
  if (FSRefMakePath(ref, path.data(), static_cast<uint32_t>(path.size())) != noErr)
    return nullptr;
  return cf::URL::CreateWithFileSystemPath(reinterpret_cast<const char*>(path.data()));
}

bool CFURLGetFileSystemRepresentation(const cf::URL* url, bool /*resolveAgainstBase*/,
                                      uint8_t* buffer, long maxBufLen) {
  if (url == nullptr || buffer == nullptr || maxBufLen <= 0)
    return false;
  const std::string& path = url->path();
  if (path.find('\0') != std::string::npos)
    return false;
  if (path.size() + 1 > static_cast<unsigned long>(maxBufLen))
    return false;
  std::memcpy(buffer, path.c_str(), path.size() + 1);
  return true;
}
