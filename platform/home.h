// Home folders and the expansion of a leading tilde in a path.
#ifndef PLATFORM_HOME_H_
#define PLATFORM_HOME_H_

#include <optional>
#include <string>
#include <string_view>

#include "platform/values.h"

// The current user's home folder: $HOME when it is set and not empty, else the
// password database's entry for the real user id. Nothing when neither knows.
std::optional<std::string> CurrentUserHomeFolder();

// The home folder of the user called `name`, from the password database.
std::optional<std::string> HomeFolderOfUser(std::string_view name);

// The rendition of the string message "stringByExpandingTildeInPath": a
// leading "~" alone or followed by "/" becomes the current user's home, a
// leading "~name" the home of user `name`. A user who cannot be found, or a
// path without a leading tilde, leaves the text as it is. A new string; null
// only when the home folder's name is not valid UTF-8.
cf::Ref<cf::String> StringByExpandingTildeInPath(const cf::String& path);

#endif  // PLATFORM_HOME_H_
