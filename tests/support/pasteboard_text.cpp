#include "tests/support/pasteboard_text.h"

#include <cstdlib>
#include <filesystem>
#include <vector>

namespace qbfa_test {

std::string FlavorLine(PasteboardItemID item, std::string_view flavor, std::string_view data,
                       PasteboardFlavorFlags flags) {
  return "item " + std::to_string(item) + ": " + std::string(flavor) + " flags " +
         std::to_string(flags) + ": " + std::string(data) + "\n";
}

std::string PasteboardText(std::string_view name) {
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  if (runtime == nullptr ||
      !std::filesystem::exists(std::filesystem::path(runtime) / "pasteboards" / name)) {
    return "(never created)";
  }
  PasteboardRef reference = nullptr;
  OSStatus status = PasteboardCreate(name, &reference);
  UniquePasteboardRef pasteboard(reference);
  size_t count = 0;
  if (status == noErr)
    status = PasteboardGetItemCount(pasteboard.get(), &count);
  std::string text;
  for (size_t index = 1; status == noErr && index <= count; ++index) {
    PasteboardItemID item = 0;
    std::vector<std::string> flavors;
    status = PasteboardGetItemIdentifier(pasteboard.get(), index, &item);
    if (status == noErr)
      status = PasteboardCopyItemFlavors(pasteboard.get(), item, &flavors);
    for (size_t i = 0; status == noErr && i < flavors.size(); ++i) {
      cf::Data data;
      PasteboardFlavorFlags flags = 0;
      status = PasteboardCopyItemFlavorData(pasteboard.get(), item, flavors[i], &data);
      if (status == noErr)
        status = PasteboardGetItemFlavorFlags(pasteboard.get(), item, flavors[i], &flags);
      text += FlavorLine(item, flavors[i], std::string(data), flags);
    }
  }
  return status == noErr ? text : "(unreadable: " + std::to_string(status) + ")";
}

bool ReplacePasteboard(std::string_view name, std::string_view flavor, std::string_view data) {
  PasteboardRef reference = nullptr;
  if (PasteboardCreate(name, &reference) != noErr)
    return false;
  UniquePasteboardRef pasteboard(reference);
  return PasteboardClear(pasteboard.get()) == noErr &&
         PasteboardPutItemFlavor(pasteboard.get(), 1, flavor, data, kPasteboardFlavorNoFlags) ==
             noErr;
}

}  // namespace qbfa_test
