#include "cli/sets_command.h"

#include <chrono>
#include <cstdio>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "cli/set_tree_text.h"
#include "platform/notification_listener.h"
#include "platform/pasteboard.h"
#include "platform/xml.h"
#include "state.h"
#include "watch/broadcast.h"

namespace {

// Exit codes besides 0: nothing usable is published; the pasteboard or the
// session bus cannot be reached.
constexpr int kNothingToShow = 1;
constexpr int kUnreachable = 2;

enum class Format { kTree, kXml, kJson };

struct SetsOptions {
  bool follow = false;
  Format format = Format::kTree;
};

void Complain(const std::string& message) {
  std::fprintf(stderr, "qbfa sets: %s\n", message.c_str());
  std::fflush(stderr);
}

void Print(std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

// The XML of the publication on `board` as it stands now, or nothing with
// `problem` saying why.
std::optional<cf::Data> ReadPublication(PasteboardRef board, std::string* problem) {
  const std::string name = kQBSetsPasteboardName;
  PasteboardSynchronize(board);
  size_t count = 0;
  PasteboardItemID item = 0;
  OSStatus status = PasteboardGetItemCount(board, &count);
  if (status == noErr && count == 0) {
    *problem = "nothing has been published on the pasteboard " + name + " yet";
    return std::nullopt;
  }
  if (status == noErr)
    status = PasteboardGetItemIdentifier(board, 1, &item);
  cf::Data xml;
  if (status == noErr)
    status = PasteboardCopyItemFlavorData(board, item, kQBSetTreeFlavorType, &xml);
  if (status == badPasteboardFlavorErr) {
    *problem = "the pasteboard " + name + " holds no " + kQBSetTreeFlavorType + " data";
    return std::nullopt;
  }
  if (status != noErr) {
    *problem = "cannot read the pasteboard " + name + " (error " + std::to_string(status) + ")";
    return std::nullopt;
  }
  return xml;
}

// Prints what is published now; false when there was nothing to print.
bool PrintPublication(PasteboardRef board, Format format) {
  std::string problem;
  std::optional<cf::Data> xml = ReadPublication(board, &problem);
  if (!xml) {
    Complain(problem);
    return false;
  }
  if (format == Format::kXml) {
    Print(*xml);
    return true;
  }
  std::string why;
  cf::Ref<cf::Object> tree = CFPropertyListCreateFromXMLData(*xml, &why);
  if (!tree) {
    Complain(std::string("the data on the pasteboard ") + kQBSetsPasteboardName +
             " is not a property list: " + why);
    return false;
  }
  Print(format == Format::kTree ? SetTreeText(tree.get()) : PropertyListJson(tree.get()) + "\n");
  return true;
}

int ShowSets(const SetsOptions& options) {
  // Subscribed before the first read, so a publication that lands between
  // the two is still announced.
  std::unique_ptr<NotificationListener> listener;
  if (options.follow) {
    std::string error;
    listener = NotificationListener::Create({kQBSetsUpdatedNotificationName}, &error);
    if (!listener) {
      Complain("cannot listen on the session bus: " + error);
      return kUnreachable;
    }
  }

  PasteboardRef board = nullptr;
  if (OSStatus status = PasteboardCreate(kQBSetsPasteboardName, &board); status != noErr) {
    Complain(std::string("cannot open the pasteboard ") + kQBSetsPasteboardName + " (error " +
             std::to_string(status) + ")");
    return kUnreachable;
  }
  UniquePasteboardRef owned(board);
  bool printed = PrintPublication(board, options.format);
  if (!options.follow)
    return printed ? 0 : kNothingToShow;

  for (;;) {
    if (!listener->Wait(std::chrono::hours(1))) {
      if (listener->connected())
        continue;
      Complain("lost the session bus");
      return kUnreachable;
    }
    if (options.format == Format::kTree)
      Print("== font sets published ==\n");
    PrintPublication(board, options.format);
  }
}

}  // namespace

void RegisterSetsCommand(CLI::App& app) {
  auto options = std::make_shared<SetsOptions>();
  CLI::App* sets = app.add_subcommand(
      "sets", std::string("Print the font sets published on the pasteboard ") +
                  kQBSetsPasteboardName +
                  " (exit 1: nothing published, 2: pasteboard or session bus unreachable)");
  sets->add_flag("--follow,-f", options->follow,
                 "Keep listening on the session bus and print every new publication");
  sets->add_option("--format", options->format, "How to print the sets")
      ->transform(CLI::CheckedTransformer(
          std::map<std::string, Format>{
              {"tree", Format::kTree}, {"xml", Format::kXml}, {"json", Format::kJson}},
          CLI::ignore_case))
      ->default_str("tree");
  sets->callback([options] {
    if (int status = ShowSets(*options); status != 0)
      throw CLI::RuntimeError(status);
  });
}
