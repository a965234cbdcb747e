#include "watch/broadcast.h"

#include <optional>
#include <string>

#include "hookwright/hkwprintf.h"
#include "platform/notifications.h"
#include "platform/pasteboard.h"
#include "platform/xml.h"
#include "state.h"

namespace {

// The publication is always the pasteboard's first and only item.
constexpr PasteboardItemID kSetTreeItem = 1;

}  // namespace

OSStatus QBFA_NotificateAllOfSetChange(const cf::Array* sets, std::string_view pasteboardName,
                                       std::string_view notificationName) {
  // Kept open for the life of the process: every publication goes to the
  // pasteboard the first one opened.
  static PasteboardRef gBoard = nullptr;

  if (sets == nullptr)
    return paramErr;
  OSStatus status = noErr;
  if (gBoard == nullptr)
    status = PasteboardCreate(pasteboardName, &gBoard);
  if (gBoard == nullptr)
    return status;

  if (OSStatus cleared = PasteboardClear(gBoard); cleared != noErr)
    return cleared;
  // Someone who changed or took the pasteboard since our clear has published
  // something of their own; writing now would mix the two.
  PasteboardSyncFlags flags = PasteboardSynchronize(gBoard);
  if (flags & kPasteboardModified)
    status = badPasteboardSyncErr;
  if (!(flags & kPasteboardClientIsOwner))
    status = notPasteboardOwnerErr;
  if (status != noErr)
    return status;

  // A tree that cannot be written leaves the pasteboard empty, and reports
  // success: listeners are not told about a publication that has no data.
  std::optional<cf::Data> data = CFPropertyListCreateXMLData(sets);
  if (!data)
    return status;

  status = PasteboardPutItemFlavor(gBoard, kSetTreeItem, kQBSetTreeFlavorType, *data,
                                   kPasteboardFlavorNoFlags);
  if (status == noErr) {
    // The product's own listeners hear of the change first.
    CFNotificationCenterPostNotification(CFNotificationCenterGetDistributedCenter(),
                                         notificationName, kQBSetsUpdatedNotificationObject,
                                         nullptr, false);
    CFNotificationCenterPostNotification(
        CFNotificationCenterGetDistributedCenter(), kQBFontCollectionChangedNotificationName,
        kQBFontCollectionChangedNotificationObject, nullptr, false);
    if (gLogStuff)
      hkwprintf("[QB] Notified!\n");
  }
  return status;
}
