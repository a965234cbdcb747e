#include "platform/preferences_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>

#include "platform/home.h"
#include "platform/whole_file.h"

namespace {

std::optional<std::string> PreferencesFolder() {
  const char* config = getenv("XDG_CONFIG_HOME");
  // Relative values are to be ignored, so that the folder never depends on
  // the working directory.
  if (config != nullptr && config[0] == '/')
    return std::string(config);
  std::optional<std::string> home = CurrentUserHomeFolder();
  if (!home)
    return std::nullopt;
  return *home + "/.config";
}

std::string FileName(std::string_view application_id) {
  return std::string(application_id) + ".plist";
}

// Opens the folder; -1 with errno set when it cannot.
int OpenFolder(const std::string& folder) {
  return open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

// Checks the id and finds the folder, or says why not.
std::optional<std::string> FolderFor(std::string_view application_id, std::string* error) {
  if (!ValidApplicationID(application_id)) {
    *error = std::string(1, '"').append(application_id).append("\" cannot name a preferences file");
    return std::nullopt;
  }
  std::optional<std::string> folder = PreferencesFolder();
  if (!folder)
    *error = "no home folder is known for the preferences";
  return folder;
}

}  // namespace

bool ValidApplicationID(std::string_view application_id) {
  return !application_id.empty() && application_id[0] != '.' &&
         application_id.find_first_of(std::string_view("/\0", 2)) == std::string_view::npos;
}

std::string PreferencesFilePath(std::string_view application_id) {
  std::optional<std::string> folder = PreferencesFolder();
  return folder ? *folder + "/" + FileName(application_id) : std::string();
}

DomainState ReadPreferencesDomain(std::string_view application_id, UniquePlist* root,
                                  std::string* error) {
  std::optional<std::string> folder = FolderFor(application_id, error);
  if (!folder)
    return DomainState::kUnreadable;
  const std::string path = *folder + "/" + FileName(application_id);
  std::string bytes;
  int fd = OpenFolder(*folder);
  int failure = fd < 0 ? errno : 0;
  if (fd >= 0) {
    // A linked preferences file is common (dotfile managers) and harmless.
    failure = ReadWholeFile(fd, FileName(application_id), kPreferencesFileLimit, &bytes,
                            FinalLink::kFollow);
    close(fd);
  }
  if (failure == ENOENT) {
    root->reset(plist_new_dict());
    return DomainState::kAbsent;
  }
  if (failure == EFBIG) {
    *error = path + " is larger than any preferences file (" +
             std::to_string(kPreferencesFileLimit >> 10) + " KiB at most)";
    return DomainState::kUnreadable;
  }
  if (failure != 0) {
    *error = path + ": " + std::strerror(failure);
    return DomainState::kUnreadable;
  }
  plist_t parsed = nullptr;
  if (!bytes.empty())
    plist_from_memory(bytes.data(), static_cast<uint32_t>(bytes.size()), &parsed);
  root->reset(parsed);
  if (parsed == nullptr) {
    *error = path + " is not a property list";
    return DomainState::kUnreadable;
  }
  if (plist_get_node_type(parsed) != PLIST_DICT) {
    root->reset();
    *error = path + " does not hold a dictionary";
    return DomainState::kUnreadable;
  }
  return DomainState::kPresent;
}

bool WritePreferencesDomain(std::string_view application_id, plist_t root, std::string* error) {
  std::optional<std::string> folder = FolderFor(application_id, error);
  if (!folder)
    return false;
  std::error_code ignored;
  std::filesystem::create_directories(*folder, ignored);
  int fd = OpenFolder(*folder);
  if (fd < 0) {
    *error = *folder + ": " + std::strerror(errno);
    return false;
  }
  char* xml = nullptr;
  uint32_t length = 0;
  plist_to_xml(root, &xml, &length);
  int failure = xml == nullptr ? ENOMEM
                               : WriteWholeFileAtomically(fd, FileName(application_id),
                                                          std::string_view(xml, length));
  plist_to_xml_free(xml);
  close(fd);
  if (failure != 0) {
    *error = *folder + "/" + FileName(application_id) + ": " + std::strerror(failure);
    return false;
  }
  return true;
}

bool DeletePreferencesDomain(std::string_view application_id, bool* existed, std::string* error) {
  *existed = false;
  std::optional<std::string> folder = FolderFor(application_id, error);
  if (!folder)
    return false;
  const std::string path = *folder + "/" + FileName(application_id);
  if (unlink(path.c_str()) == 0) {
    *existed = true;
    return true;
  }
  if (errno == ENOENT || errno == ENOTDIR)
    return true;
  *error = path + ": " + std::strerror(errno);
  return false;
}
