#include "core/location.h"

#include "platform/description.h"
#include "platform/file_ref.h"
#include "platform/file_urls.h"
#include "platform/home.h"
#include "state.h"

namespace {

// Appended to a Library folder as one component with a slash inside.
constexpr std::string_view kDatabaseInLibrary = "FontAgent Pro/FontAgent.db";

std::string& FallbackDatabasePath() {
  static std::string path = "/Users/Shared/Library/FontAgent Pro/FontAgent.db";
  return path;
}

bool Exists(const cf::URL* file) {
  FSRef ref;
  return CFURLGetFSRef(file, &ref);
}

// Logs what a search found, null included, when the log switch is on.
void ShowFound(const cf::Ref<cf::URL>& found) {
  if (gLogStuff)
    CFShow(found);
}

}  // namespace

namespace qbfa {

OSStatus CopyGivenFilePath(const std::string& path, cf::Ref<cf::URL>* url) {
  cf::Ref<cf::URL> found = cf::URL::CreateWithFileSystemPath(path);
  if (found && !Exists(found.get()))
    found = nullptr;
  ShowFound(found);
  if (!found)
    return fnfErr;
  *url = found;
  return noErr;
}

std::string SetFallbackDatabasePath(std::string path) {
  std::swap(FallbackDatabasePath(), path);
  return path;
}

}  // namespace qbfa

OSStatus QBFA_CopyPathForDomain(FSVolumeRefNum domain, cf::Ref<cf::URL>* url) {
  if (url == nullptr || domain == 0)
    return paramErr;
  FSRef ref;
  OSStatus status = FSFindFolder(domain, kDomainLibraryFolderType, kDontCreateFolder, &ref);
  if (status != noErr)
    return status;
  cf::Ref<cf::URL> folder = CFURLCreateFromFSRef(&ref);
  // A folder without a URL is a success without a result: the caller goes by
  // the URL alone.
  if (!folder)
    return noErr;
  cf::Ref<cf::URL> candidate = folder->CopyAppendingPathComponent(kDatabaseInLibrary);
  if (!candidate)
    return noErr;
  if (CFURLGetFSRef(candidate.get(), &ref)) {
    *url = candidate;
    if (gLogStuff)
      CFShow(candidate);
  } else {
    status = fnfErr;
  }
  return status;
}

OSStatus QBFA_CopyFinalFilePath(cf::Ref<cf::URL>* url) {
  if (url == nullptr)
    return paramErr;
  cf::Ref<cf::URL> found;
  OSStatus status = QBFA_CopyPathForDomain(kLocalDomain, &found);
  if (!found)
    status = QBFA_CopyPathForDomain(kUserDomain, &found);
  if (!found) {
    found = cf::URL::CreateWithFileSystemPath(FallbackDatabasePath());
    if (found && !Exists(found.get())) {
      found = nullptr;
      status = fnfErr;
    }
    // A file that does exist here keeps the user domain's failure status:
    // the connection tells a fallback find apart by exactly that.
  }
  ShowFound(found);
  if (found)
    *url = found;
  return status;
}

cf::Ref<cf::String> QBFA_CopyExpandedString(const cf::String* path) {
  if (path == nullptr)
    return nullptr;
  return StringByExpandingTildeInPath(*path);
}
