#include "platform/preferences_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <unordered_map>
#include <vector>

#include "platform/home.h"
#include "platform/libplist_children.h"
#include "platform/plist_binary_check.h"
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

// Leaves every dictionary in `node` holding each key once, the last one
// winning, as libplist's XML reader leaves them. Its binary reader keeps
// every repeat, so that a lookup would find the first value while the file
// rewritten would keep the last. The nodes are not copied: libplist copies
// a string only up to a U+0000 in it, yet keeps its length. Recurses once
// per level of nesting.
void DropRepeatedKeys(plist_t node) {
  std::unordered_map<std::string, int> count;
  ForEachChild(node, [&](const char* key, plist_t) {
    if (key != nullptr)
      ++count[key];
  });
  for (const auto& [key, n] : count) {
    // Removes the first entry with the key each time.
    for (int i = 1; i < n; ++i)
      plist_dict_remove_item(node, key.c_str());
  }
  std::vector<plist_t> children;
  ForEachChild(node, [&](const char*, plist_t value) { children.push_back(value); });
  for (plist_t child : children)
    DropRepeatedKeys(child);
}

// Whether a string in `root` holds U+0000. Keeps a stack of its own: the
// nesting of an XML file is bounded only by its size.
bool HoldsStringWithNul(plist_t root) {
  std::vector<plist_t> pending{root};
  while (!pending.empty()) {
    plist_t node = pending.back();
    pending.pop_back();
    uint64_t length = 0;
    const char* text =
        plist_get_node_type(node) == PLIST_STRING ? plist_get_string_ptr(node, &length) : nullptr;
    if (text != nullptr && std::memchr(text, '\0', length) != nullptr)
      return true;
    ForEachChild(node, [&](const char*, plist_t value) { pending.push_back(value); });
  }
  return false;
}

// The value of the file's bytes; null when they are no property list, or a
// binary one that libplist cannot be trusted with.
UniquePlist Parse(const std::string& bytes) {
  if (bytes.empty() || bytes.size() > UINT32_MAX)
    return nullptr;
  const bool binary = IsBinaryPropertyList(bytes);
  if (binary && !BinaryPropertyListIsSafe(bytes, nullptr))
    return nullptr;
  plist_t parsed = nullptr;
  plist_from_memory(bytes.data(), static_cast<uint32_t>(bytes.size()), &parsed);
  UniquePlist root(parsed);
  // Its depth is bounded by the check above.
  if (binary && root)
    DropRepeatedKeys(root.get());
  return root;
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
  *root = Parse(bytes);
  if (!*root) {
    *error = path + " is not a property list";
    return DomainState::kUnreadable;
  }
  if (plist_get_node_type(root->get()) != PLIST_DICT) {
    root->reset();
    *error = path + " does not hold a dictionary";
    return DomainState::kUnreadable;
  }
  return DomainState::kPresent;
}

std::optional<std::string> PreferencesFileXml(plist_t root, std::string* error) {
  // libplist writes such a string cut short or with the byte as it is.
  if (HoldsStringWithNul(root)) {
    *error = "a string holds U+0000, which an XML property list cannot carry";
    return std::nullopt;
  }
  char* xml = nullptr;
  uint32_t length = 0;
  plist_to_xml(root, &xml, &length);
  if (xml == nullptr) {
    *error = std::strerror(ENOMEM);
    return std::nullopt;
  }
  std::string bytes(xml, length);
  plist_to_xml_free(xml);
  // libplist writes a date it cannot format, one far from the present, as
  // an empty element, which reads back as 2001-01-01. Nothing else writes
  // this text: a string's "<" is escaped.
  if (bytes.find("<date/>") != std::string::npos) {
    *error = "a date lies outside the years an XML property list can carry";
    return std::nullopt;
  }
  return bytes;
}

bool WritePreferencesDomain(std::string_view application_id, plist_t root, std::string* error) {
  std::optional<std::string> folder = FolderFor(application_id, error);
  if (!folder)
    return false;
  const std::string path = *folder + "/" + FileName(application_id);
  std::optional<std::string> xml = PreferencesFileXml(root, error);
  if (!xml) {
    *error = path + ": " + *error;
    return false;
  }
  std::error_code ignored;
  std::filesystem::create_directories(*folder, ignored);
  int fd = OpenFolder(*folder);
  if (fd < 0) {
    *error = *folder + ": " + std::strerror(errno);
    return false;
  }
  int failure = WriteWholeFileAtomically(fd, FileName(application_id), *xml);
  close(fd);
  if (failure != 0) {
    *error = path + ": " + std::strerror(failure);
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
