// Named pasteboards shared by every process of the user, kept in files.
//
// Each pasteboard is a directory $XDG_RUNTIME_DIR/pasteboards/<name> (without
// XDG_RUNTIME_DIR: /tmp/qbfa-pasteboards-<uid>/<name>), mode 0700, holding
//   contents  the items, their flavors, the owner and a change stamp, in one
//             file replaced atomically on every change (pasteboard_contents.h),
//             at most 513 MiB;
//   lock      taken exclusively around every change, so that the
//             read-modify-write of one process never overwrites another's.
// Readers need no lock: they read one complete version of `contents`.
//
// Semantics, as the platform's pasteboards have them:
// - Clearing empties the pasteboard and makes the calling reference its owner.
//   Ownership belongs to a reference (a random token), not to a process.
// - Only the owner may put data; anyone else gets notPasteboardOwnerErr.
// - Synchronising reports kPasteboardModified when someone else changed the
//   pasteboard since this reference last synchronised, cleared or put, and
//   kPasteboardClientIsOwner while this reference owns it. It also refreshes
//   the reference's view: the reading calls answer from the version seen at
//   the last synchronise (or at creation), and a reference's own changes.
// - Contents outlive the process that wrote them.
//
// A reference is meant for one thread at a time; different references may be
// used from different threads and processes at once.
#ifndef PLATFORM_PASTEBOARD_H_
#define PLATFORM_PASTEBOARD_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/data.h"
#include "platform/status.h"

struct OpaquePasteboardRef;
using PasteboardRef = OpaquePasteboardRef*;
using PasteboardItemID = uintptr_t;
using PasteboardFlavorFlags = uint32_t;
using PasteboardSyncFlags = uint32_t;

constexpr PasteboardFlavorFlags kPasteboardFlavorNoFlags = 0;
constexpr PasteboardSyncFlags kPasteboardModified = 1;
constexpr PasteboardSyncFlags kPasteboardClientIsOwner = 2;

constexpr OSStatus badPasteboardIndexErr = -25131;
constexpr OSStatus badPasteboardItemErr = -25132;
constexpr OSStatus badPasteboardFlavorErr = -25133;
constexpr OSStatus duplicatePasteboardFlavorErr = -25134;

// Opens the pasteboard `name` (created when new) and stores a new reference in
// `*pasteboard`, which is written only on success. paramErr for a name that is
// empty, "." or "..", or holds "/" or a NUL; permErr when the directory is a
// symbolic link, another user's, or open to group or others (logged).
OSStatus PasteboardCreate(std::string_view name, PasteboardRef* pasteboard);

// Frees the reference. Ownership it held stays recorded in the pasteboard;
// nobody can put on it again until someone clears it.
void PasteboardRelease(PasteboardRef pasteboard);

OSStatus PasteboardClear(PasteboardRef pasteboard);

// Flags for a null reference: none.
PasteboardSyncFlags PasteboardSynchronize(PasteboardRef pasteboard);

// Adds the flavor `flavor_type` with `data` to the item `item` (created when
// new). notPasteboardOwnerErr unless this reference owns the pasteboard;
// duplicatePasteboardFlavorErr when the item already has that flavor.
OSStatus PasteboardPutItemFlavor(PasteboardRef pasteboard, PasteboardItemID item,
                                 std::string_view flavor_type, std::string_view data,
                                 PasteboardFlavorFlags flags);

// Reading calls. Items are numbered from 1, in the order they were first put.
// They answer ioErr when the stored pasteboard could not be read or is damaged.
OSStatus PasteboardGetItemCount(PasteboardRef pasteboard, size_t* count);
OSStatus PasteboardGetItemIdentifier(PasteboardRef pasteboard, size_t index,
                                     PasteboardItemID* item);
OSStatus PasteboardCopyItemFlavors(PasteboardRef pasteboard, PasteboardItemID item,
                                   std::vector<std::string>* flavor_types);
// The data is shared with the reference's view, not copied.
OSStatus PasteboardCopyItemFlavorData(PasteboardRef pasteboard, PasteboardItemID item,
                                      std::string_view flavor_type, cf::Data* data);
OSStatus PasteboardGetItemFlavorFlags(PasteboardRef pasteboard, PasteboardItemID item,
                                      std::string_view flavor_type, PasteboardFlavorFlags* flags);

struct PasteboardReleaser {
  void operator()(PasteboardRef pasteboard) const { PasteboardRelease(pasteboard); }
};
using UniquePasteboardRef = std::unique_ptr<OpaquePasteboardRef, PasteboardReleaser>;

// A seam for tests, to reach failures that real pasteboards give only by
// chance. `create`, `clear` and `put` run first in their calls; a status
// other than noErr makes the call fail with it, touching nothing.
// `synchronize` runs first in PasteboardSynchronize, the moment where another
// process's write lands in real life, and returns flags to report on top of
// the real ones. Empty functions do nothing; SetPasteboardTestHooks({}) ends
// all interference.
struct PasteboardTestHooks {
  std::function<OSStatus()> create = nullptr;
  std::function<OSStatus()> clear = nullptr;
  std::function<OSStatus()> put = nullptr;
  std::function<PasteboardSyncFlags()> synchronize = nullptr;
};
void SetPasteboardTestHooks(PasteboardTestHooks hooks);

#endif  // PLATFORM_PASTEBOARD_H_
