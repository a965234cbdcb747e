// The Folder Manager's search for a domain's Library folder.
//
// The machine-wide (local) domain's Library folder is "/Library"; the user
// domain's is "Library" in the user's home folder. Folders are only found,
// never created.
#ifndef PLATFORM_FOLDERS_H_
#define PLATFORM_FOLDERS_H_

#include <cstdint>
#include <optional>
#include <string>

#include "platform/file_ref.h"
#include "platform/status.h"

using FSVolumeRefNum = int16_t;
using OSType = uint32_t;

// A four-character code such as 'dlib', spelled without a multi-character literal.
constexpr OSType FourCharCode(const char (&code)[5]) {
  return (OSType(uint8_t(code[0])) << 24) | (OSType(uint8_t(code[1])) << 16) |
         (OSType(uint8_t(code[2])) << 8) | OSType(uint8_t(code[3]));
}

constexpr FSVolumeRefNum kLocalDomain = -32765;
constexpr FSVolumeRefNum kUserDomain = -32763;
constexpr OSType kDomainLibraryFolderType = FourCharCode("dlib");
constexpr bool kCreateFolder = true;
constexpr bool kDontCreateFolder = false;

// Fills `foundRef` with the folder of type `folderType` in `domain`.
// paramErr for a null `foundRef`, the zero domain, a domain other than local
// and user, or a folder type other than kDomainLibraryFolderType; fnfErr when
// the folder is not there (or is not a folder). `createFolder` is accepted but
// nothing is ever created. `foundRef` is written only on success.
OSErr FSFindFolder(FSVolumeRefNum domain, OSType folderType, bool createFolder, FSRef* foundRef);

// Where FSFindFolder looks for the two Library folders. An empty path means
// the domain has none.
struct LibraryFolderPlaces {
  std::string local;
  std::string user;
};

// Moves the Library folders elsewhere (tests, and commands that must not look
// at the machine's own folders); nullopt restores the standard places.
// Returns the places set before. Call it while nothing is searching.
std::optional<LibraryFolderPlaces> SetLibraryFolderPlaces(
    std::optional<LibraryFolderPlaces> places);

#endif  // PLATFORM_FOLDERS_H_
