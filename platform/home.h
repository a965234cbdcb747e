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

// Expands the leading tilde of paths as StringByExpandingTildeInPath does,
// looking the current user's home folder up for the first path that needs it
// and keeping it after: for a caller that expands many paths at one time,
// all of which would find the same home. A path naming a user ("~name")
// still looks that user up each time.
class TildeExpander {
 public:
  // Appends `path` with its tilde expanded to `*out` and says true; appends
  // nothing and says false when the path stays as it is (no leading tilde,
  // a user who cannot be found). The home is appended as it is found, UTF-8
  // or not.
  bool AppendExpanded(std::string_view path, std::string* out);

 private:
  // Looked up once, when a "~" or "~/" path first needs it.
  std::optional<std::optional<std::string>> current_home_;
};

// The rendition of the string message "stringByExpandingTildeInPath": a
// leading "~" alone or followed by "/" becomes the current user's home, a
// leading "~name" the home of user `name`. A user who cannot be found, or a
// path without a leading tilde, leaves the text as it is. A new string; null
// only when the home folder's name is not valid UTF-8.
cf::Ref<cf::String> StringByExpandingTildeInPath(const cf::String& path);

#endif  // PLATFORM_HOME_H_
