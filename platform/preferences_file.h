// The preferences file of one application: <folder>/<application id>.plist,
// a property list (XML or binary) whose root is a dictionary. The folder is
// $XDG_CONFIG_HOME when that is an absolute path, else ~/.config.
#ifndef PLATFORM_PREFERENCES_FILE_H_
#define PLATFORM_PREFERENCES_FILE_H_

#include <plist/plist.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

struct PlistDeleter {
  void operator()(plist_t node) const { plist_free(node); }
};
using UniquePlist = std::unique_ptr<void, PlistDeleter>;

// Preferences files hold a few keys. The parser recurses once per level of
// nesting, and at this size even the most deeply nested file stays well
// within the stack.
constexpr size_t kPreferencesFileLimit = size_t{256} << 10;

// True when `application_id` can name a file in the folder: not empty, no
// "/" or NUL, not starting with ".".
bool ValidApplicationID(std::string_view application_id);

// The file's path; empty when no home folder is known.
std::string PreferencesFilePath(std::string_view application_id);

enum class DomainState { kPresent, kAbsent, kUnreadable };

// Reads the application's preferences into `root`. kAbsent when there is no
// file: `root` is then an empty dictionary. kUnreadable when the id is not
// valid or the file cannot be read, is no property list or has no dictionary
// at its root: `error` says which.
DomainState ReadPreferencesDomain(std::string_view application_id, UniquePlist* root,
                                  std::string* error);

// The XML property list that WritePreferencesDomain puts in the file for
// `root`. Nothing, with `error` set, when libplist would write a value that
// reads back as another: a string holding U+0000 (which XML cannot carry),
// or a date it cannot format.
std::optional<std::string> PreferencesFileXml(plist_t root, std::string* error);

// Replaces the file with `root` as an XML property list, atomically, creating
// the folder when needed. False with `error` set when that fails.
bool WritePreferencesDomain(std::string_view application_id, plist_t root, std::string* error);

// Removes the file. `existed` tells whether there was one to remove.
bool DeletePreferencesDomain(std::string_view application_id, bool* existed, std::string* error);

#endif  // PLATFORM_PREFERENCES_FILE_H_
