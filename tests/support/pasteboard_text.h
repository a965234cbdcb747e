// Named pasteboards as the tests look at them and fill them, through
// references of their own.
#ifndef TESTS_SUPPORT_PASTEBOARD_TEXT_H_
#define TESTS_SUPPORT_PASTEBOARD_TEXT_H_

#include <string>
#include <string_view>

#include "platform/pasteboard.h"

namespace qbfa_test {

// Everything the pasteboard `name` holds, one line per flavor, as
// FlavorLine writes it; "" when it is empty, "(never created)" when it does
// not exist (looked for under $XDG_RUNTIME_DIR, without creating it), and
// "(unreadable: <status>)".
std::string PasteboardText(std::string_view name);

// "item <item>: <flavor> flags <flags>: <data>\n".
std::string FlavorLine(PasteboardItemID item, std::string_view flavor, std::string_view data,
                       PasteboardFlavorFlags flags = kPasteboardFlavorNoFlags);

// Replaces the pasteboard's contents with one item of one flavor, as another
// program would. False when any step fails.
bool ReplacePasteboard(std::string_view name, std::string_view flavor, std::string_view data);

}  // namespace qbfa_test

#endif  // TESTS_SUPPORT_PASTEBOARD_TEXT_H_
