#include "platform/home.h"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <vector>

namespace {

// Runs getpwnam_r or getpwuid_r with a buffer that grows until the entry fits.
template <class Lookup>
std::optional<std::string> HomeFromPasswordDatabase(Lookup lookup) {
  std::vector<char> buffer(1024);
  for (;;) {
    passwd entry{};
    passwd* found = nullptr;
    int error = lookup(&entry, buffer.data(), buffer.size(), &found);
    if (error == ERANGE && buffer.size() < (1u << 20)) {
      buffer.resize(buffer.size() * 2);
      continue;
    }
    if (error != 0 || found == nullptr || found->pw_dir == nullptr || found->pw_dir[0] == '\0') {
      return std::nullopt;
    }
    return std::string(found->pw_dir);
  }
}

}  // namespace

std::optional<std::string> CurrentUserHomeFolder() {
  const char* home = std::getenv("HOME");
  if (home != nullptr && home[0] != '\0')
    return std::string(home);
  uid_t uid = getuid();
  return HomeFromPasswordDatabase([uid](passwd* entry, char* buffer, size_t size, passwd** found) {
    return getpwuid_r(uid, entry, buffer, size, found);
  });
}

std::optional<std::string> HomeFolderOfUser(std::string_view name) {
  std::string user(name);
  // A name with a NUL in it would name some other user once cut short.
  if (user.empty() || user.find('\0') != std::string::npos)
    return std::nullopt;
  return HomeFromPasswordDatabase(
      [&user](passwd* entry, char* buffer, size_t size, passwd** found) {
        return getpwnam_r(user.c_str(), entry, buffer, size, found);
      });
}

bool TildeExpander::AppendExpanded(std::string_view path, std::string* out) {
  if (!path.starts_with('~'))
    return false;
  const size_t slash = path.find('/');
  const std::string_view user =
      path.substr(1, slash == std::string_view::npos ? std::string_view::npos : slash - 1);
  std::optional<std::string> named_home;
  if (!user.empty()) {
    named_home = HomeFolderOfUser(user);
  } else if (!current_home_) {
    current_home_ = CurrentUserHomeFolder();
  }
  const std::optional<std::string>& found = user.empty() ? *current_home_ : named_home;
  if (!found)
    return false;
  // "/home/me/" and "~/x" must not give a doubled slash; a home of "/" leaves "".
  std::string_view home = *found;
  while (!home.empty() && home.back() == '/')
    home.remove_suffix(1);
  const std::string_view rest = slash == std::string_view::npos ? "" : path.substr(slash);
  if (home.empty() && rest.empty()) {
    out->push_back('/');
  } else {
    out->append(home);
    out->append(rest);
  }
  return true;
}

cf::Ref<cf::String> StringByExpandingTildeInPath(const cf::String& path) {
  std::string expanded;
  if (!TildeExpander().AppendExpanded(path.utf8(), &expanded))
    return cf::String::Create(path.utf8());
  return cf::String::Create(expanded);
}
