// Finding the font manager's database file, and tilde expansion for paths.
#ifndef CORE_LOCATION_H_
#define CORE_LOCATION_H_

#include <string>

#include "platform/folders.h"
#include "platform/status.h"
#include "platform/values.h"

// Searches the local domain's Library folder, then the user's, then the
// fallback path, for the database; the first file that exists wins. Writes
// `url` only when a file was found. A file found only at the fallback path
// comes back with the user domain's failure status beside the URL.
OSStatus QBFA_CopyFinalFilePath(cf::Ref<cf::URL>* url);

// The database in one domain's Library folder: 0 and `url` written when the
// file exists; fnfErr when it does not; the folder search's own status when
// the folder cannot be found; paramErr for a null `url` or the zero domain.
OSStatus QBFA_CopyPathForDomain(FSVolumeRefNum domain, cf::Ref<cf::URL>* url);

// `path` with a leading tilde expanded to a home folder; null for null.
cf::Ref<cf::String> QBFA_CopyExpandedString(const cf::String* path);

namespace qbfa {

// The database at `path` alone, searching nowhere else (`qbfa read`): 0 and
// `url` written when the file exists, fnfErr when it does not. Logs the URL
// as the search does.
OSStatus CopyGivenFilePath(const std::string& path, cf::Ref<cf::URL>* url);

// The database's last search place. Tests move it; returns the path set
// before.
std::string SetFallbackDatabasePath(std::string path);

}  // namespace qbfa

#endif  // CORE_LOCATION_H_
