#include <plist/plist.h>
#include <stdlib.h>

#include <optional>
#include <string>

#include "cli/plist_text.h"
#include "fuzz/checks.h"
#include "fuzz/scratch.h"
#include "platform/preferences.h"
#include "platform/preferences_file.h"

namespace qbfa_fuzz {
namespace {

constexpr char kDomain[] = "qbfa.fuzz";

}  // namespace

std::string CheckPreferencesFile(std::string_view input) {
  // The preferences folder is the scratch folder, for the whole run.
  static const bool moved = setenv("XDG_CONFIG_HOME", ScratchDirectory().c_str(), 1) == 0;
  static_cast<void>(moved);
  WriteFile(PreferencesFilePath(kDomain), input);

  UniquePlist root;
  std::string error;
  switch (ReadPreferencesDomain(kDomain, &root, &error)) {
    case DomainState::kAbsent:
      return "a file that is there reads as absent";
    case DomainState::kUnreadable:
      return error.empty() ? "unreadable without a reason" : "";
    case DomainState::kPresent:
      break;
  }
  // What the plug-in asks at start-up, and what `defaults read` prints.
  static_cast<void>(CFPreferencesGetAppBooleanValue("Log Stuff", kDomain, nullptr));
  static_cast<void>(PlistText(root.get()));

  // `defaults write` rewrites every other key as it read it, or refuses.
  const std::optional<std::string> xml = PreferencesFileXml(root.get(), &error);
  if (!xml)
    return error.empty() ? "cannot be rewritten, without a reason" : "";
  WriteFile(PreferencesFilePath(kDomain), *xml);
  UniquePlist back;
  if (ReadPreferencesDomain(kDomain, &back, &error) != DomainState::kPresent)
    return "cannot read the rewritten file: " + error;
  const std::optional<std::string> again = PreferencesFileXml(back.get(), &error);
  return again == xml ? "" : "reads the rewritten file as another dictionary";
}

}  // namespace qbfa_fuzz
