#include "platform/folders.h"

#include <sys/stat.h>

#include "platform/home.h"

namespace {

std::optional<LibraryFolderPlaces>& MovedPlaces() {
  static std::optional<LibraryFolderPlaces> places;
  return places;
}

// The Library folder's path for a known domain; empty when it has none.
std::string LibraryFolderPath(FSVolumeRefNum domain) {
  if (const auto& moved = MovedPlaces())
    return domain == kLocalDomain ? moved->local : moved->user;
  if (domain == kLocalDomain)
    return "/Library";
  std::optional<std::string> home = CurrentUserHomeFolder();
  if (!home)
    return std::string();
  while (!home->empty() && home->back() == '/')
    home->pop_back();
  return *home + "/Library";
}

}  // namespace

OSErr FSFindFolder(FSVolumeRefNum domain, OSType folderType, bool /*createFolder*/,
                   FSRef* foundRef) {
  if (foundRef == nullptr || (domain != kLocalDomain && domain != kUserDomain) ||
      folderType != kDomainLibraryFolderType) {
    return paramErr;
  }
  std::string path = LibraryFolderPath(domain);
  struct stat info {};
  if (path.empty() || stat(path.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
    return fnfErr;
  cf::Ref<cf::URL> url = cf::URL::CreateWithFileSystemPath(path);
  FSRef found;
  if (!url || !CFURLGetFSRef(url.get(), &found))
    return fnfErr;
  *foundRef = std::move(found);
  return noErr;
}

std::optional<LibraryFolderPlaces> SetLibraryFolderPlaces(
    std::optional<LibraryFolderPlaces> places) {
  std::swap(MovedPlaces(), places);
  return places;
}
