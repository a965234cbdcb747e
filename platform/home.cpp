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

cf::Ref<cf::String> StringByExpandingTildeInPath(const cf::String& path) {
  const std::string_view text = path.utf8();
  if (!path.HasPrefix("~"))
    return cf::String::Create(text);
  size_t slash = text.find('/');
  std::string_view user =
      text.substr(1, slash == std::string_view::npos ? std::string_view::npos : slash - 1);
  std::optional<std::string> home = user.empty() ? CurrentUserHomeFolder() : HomeFolderOfUser(user);
  if (!home)
    return cf::String::Create(text);
  // "/home/me/" and "~/x" must not give a doubled slash; a home of "/" leaves "".
  while (!home->empty() && home->back() == '/')
    home->pop_back();
  const std::string_view rest = slash == std::string_view::npos ? "" : text.substr(slash);
  if (home->empty() && rest.empty())
    return cf::String::Create("/");
  home->append(rest);
  return cf::String::Create(*home);
}
