// Property lists as `qbfa defaults read` prints them: the old-style text form,
// four spaces of indent per level, dictionary keys sorted, booleans as 1 and
// 0, strings quoted unless they are a plain word.
#ifndef CLI_PLIST_TEXT_H_
#define CLI_PLIST_TEXT_H_

#include <plist/plist.h>

#include <optional>
#include <string>

// The text of `value`. A string at the top is printed bare, as the value of
// a single key is. Nothing when the value nests too deeply to print.
std::optional<std::string> PlistText(plist_t value);

#endif  // CLI_PLIST_TEXT_H_
