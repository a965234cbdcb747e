// Publishing the set tree to every process of the host product.
#ifndef WATCH_BROADCAST_H_
#define WATCH_BROADCAST_H_

#include <string_view>

#include "platform/status.h"
#include "platform/values.h"

// What listeners find and hear. The set tree is the one item of the
// pasteboard, in this flavor; the two notifications follow, the product's own
// first, each with its fixed object.
constexpr char kQBSetTreeFlavorType[] = "com.apple.xml-plist";
constexpr char kQBSetsUpdatedNotificationObject[] = "BLAH!";
constexpr char kQBFontCollectionChangedNotificationName[] = "NSFontCollectionChangedNotification";
constexpr char kQBFontCollectionChangedNotificationObject[] =
    "Crunchy Raw Unboned Quillbox Notification";

// Replaces the pasteboard's contents with `sets` (borrowed) as an XML
// property list, then posts `notificationName` and the font-collection
// notification. The pasteboard is opened by name on the first call that gets
// that far and kept for the life of the process; later names are ignored.
//
// Returns paramErr for null `sets`, else the first failure of opening,
// clearing or putting, or badPasteboardSyncErr / notPasteboardOwnerErr when
// someone else changed or took the pasteboard after it was cleared; nothing
// is posted then. A tree that cannot be serialised leaves the pasteboard
// empty, posts nothing and still returns noErr. Logs only "[QB] Notified!",
// and only with the log switch on. Main thread only.
OSStatus QBFA_NotificateAllOfSetChange(const cf::Array* sets, std::string_view pasteboardName,
                                       std::string_view notificationName);

#endif  // WATCH_BROADCAST_H_
