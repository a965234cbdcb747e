#include "platform/pasteboard.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <optional>

#include "hookwright/hkwprintf.h"
#include "platform/pasteboard_contents.h"
#include "platform/plist_limits.h"
#include "platform/private_directory.h"
#include "platform/whole_file.h"

// One stored version of a pasteboard, as a reference last saw or wrote it.
// Its file stays open: whatever replaces the stored pasteboard later, the
// reading calls answer from this version. Only the header is read at first;
// the rest is read and decoded when a reading call first needs it, so a
// writer that never reads back, and a synchronise that finds nothing new,
// never pay for a large payload.
struct PasteboardVersion {
  PasteboardVersion() = default;
  PasteboardVersion(const PasteboardVersion&) = delete;
  PasteboardVersion& operator=(const PasteboardVersion&) = delete;
  ~PasteboardVersion() {
    if (fd >= 0)
      close(fd);
  }

  PasteboardHeader header;  // change 0: never written
  int fd = -1;              // -1 for a pasteboard never written
  // Not noErr when the version could not be read; nothing else counts then.
  OSStatus status = noErr;
  std::optional<PasteboardContents> contents;
};

struct OpaquePasteboardRef {
  int directory = -1;
  PasteboardToken token{};
  // The change stamp of the version this reference last saw or wrote.
  uint64_t seen_change = 0;
  std::unique_ptr<PasteboardVersion> view;
};

namespace {

constexpr char kContentsFile[] = "contents";
constexpr char kLockFile[] = "lock";
// The largest property list a reader takes, with room for the fields around
// it; keeps a damaged or hostile file from exhausting memory.
constexpr size_t kContentsLimit = cf::kMaxPropertyListBytes + (size_t{1} << 20);

std::mutex hooks_mutex;
PasteboardTestHooks hooks;

PasteboardTestHooks CurrentHooks() {
  std::lock_guard lock(hooks_mutex);
  return hooks;
}

OSStatus RunFaultHook(const std::function<OSStatus()> PasteboardTestHooks::*which) {
  const std::function<OSStatus()> hook = CurrentHooks().*which;
  return hook ? hook() : noErr;
}

bool FillRandom(void* buffer, size_t size) {
  auto* bytes = static_cast<uint8_t*>(buffer);
  while (size > 0) {
    ssize_t got = getrandom(bytes, size, 0);
    if (got < 0) {
      if (errno == EINTR)
        continue;
      return false;
    }
    bytes += got;
    size -= static_cast<size_t>(got);
  }
  return true;
}

// A fresh change stamp; never 0, which stands for "never written".
std::optional<uint64_t> NewChangeStamp() {
  uint64_t stamp = 0;
  while (stamp == 0) {
    if (!FillRandom(&stamp, sizeof stamp))
      return std::nullopt;
  }
  return stamp;
}

bool ValidName(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && name.size() <= 255 &&
         name.find('/') == std::string_view::npos && name.find('\0') == std::string_view::npos;
}

// The directory that holds every pasteboard of this user, opened.
int OpenPasteboardsDirectory(int* error, std::string* why) {
  const char* runtime = getenv("XDG_RUNTIME_DIR");
  std::string path = runtime != nullptr && runtime[0] == '/'
                         ? std::string(runtime) + "/pasteboards"
                         : "/tmp/qbfa-pasteboards-" + std::to_string(geteuid());
  return OpenPrivateDirectory(AT_FDCWD, path, error, why);
}

// Holds the pasteboard's lock while it lives. flock locks belong to the open
// file, so two references of one process exclude each other as two processes
// do, and the lock goes away with a process that dies holding it.
class ChangeLock {
 public:
  explicit ChangeLock(int directory)
      : fd_(openat(directory, kLockFile, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600)) {
    if (fd_ < 0) {
      error_ = errno;
      return;
    }
    while (flock(fd_, LOCK_EX) != 0) {
      if (errno != EINTR) {
        error_ = errno;
        return;
      }
    }
  }
  ChangeLock(const ChangeLock&) = delete;
  ChangeLock& operator=(const ChangeLock&) = delete;
  ~ChangeLock() {
    if (fd_ >= 0)
      close(fd_);
  }
  OSStatus status() const { return StatusFromErrno(error_); }

 private:
  int fd_;
  int error_ = 0;
};

// Reads the rest of `version` (its header has been read) and decodes it.
OSStatus Decode(PasteboardVersion* version) {
  if (version->contents || version->status != noErr)
    return version->status;
  if (version->fd < 0) {
    version->contents.emplace();
    return noErr;
  }
  cf::Data bytes;
  int error = ReadOpenFile(version->fd, kContentsLimit, &bytes);
  if (error != 0) {
    version->status = StatusFromErrno(error);
    return version->status;
  }
  version->contents = DecodePasteboardContents(bytes);
  if (!version->contents)
    version->status = ioErr;
  return version->status;
}

// The version stored now: its header read, the rest left for later. A
// pasteboard never written reads as empty and unowned.
std::unique_ptr<PasteboardVersion> OpenStored(int directory) {
  auto version = std::make_unique<PasteboardVersion>();
  int error = OpenRegularFile(directory, kContentsFile, FinalLink::kRefuse, &version->fd);
  if (error == ENOENT) {
    version->contents.emplace();
    return version;
  }
  if (error != 0) {
    version->status = StatusFromErrno(error);
    return version;
  }
  char bytes[kPasteboardHeaderSize];
  ssize_t got;
  do {
    got = pread(version->fd, bytes, sizeof bytes, 0);
  } while (got < 0 && errno == EINTR);
  std::optional<PasteboardHeader> header =
      got < 0 ? std::nullopt
              : DecodePasteboardHeader(std::string_view(bytes, static_cast<size_t>(got)));
  if (header)
    version->header = *header;
  else
    version->status = got < 0 ? StatusFromErrno(errno) : ioErr;
  return version;
}

// The version stored now, read whole: what a change builds on.
OSStatus LoadStored(int directory, PasteboardContents* contents) {
  std::unique_ptr<PasteboardVersion> stored = OpenStored(directory);
  if (OSStatus status = Decode(stored.get()); status != noErr)
    return status;
  *contents = std::move(*stored->contents);
  return noErr;
}

// Stores `contents` under a new change stamp and makes it this reference's
// view. The view keeps the decoded contents only when `keep_decoded`: data
// put by the caller is borrowed for the call, so otherwise the view reads
// the new version back from its file if it is ever asked.
OSStatus StoreContents(PasteboardRef pasteboard, PasteboardContents contents, bool keep_decoded) {
  std::optional<uint64_t> stamp = NewChangeStamp();
  if (!stamp)
    return ioErr;
  contents.change = *stamp;
  std::string fields;
  const std::vector<std::string_view> pieces = EncodePasteboardContents(contents, &fields);
  size_t size = 0;
  for (std::string_view piece : pieces)
    size += piece.size();
  if (size > kContentsLimit)
    return memFullErr;
  auto version = std::make_unique<PasteboardVersion>();
  int error = WriteWholeFileAtomically(pasteboard->directory, kContentsFile, pieces, &version->fd);
  if (error != 0)
    return StatusFromErrno(error);
  version->header = {contents.change, contents.owner};
  if (keep_decoded)
    version->contents = std::move(contents);
  pasteboard->seen_change = version->header.change;
  pasteboard->view = std::move(version);
  return noErr;
}

void Refresh(PasteboardRef pasteboard) {
  pasteboard->view = OpenStored(pasteboard->directory);
}

const PasteboardItem* FindItem(const PasteboardContents& contents, PasteboardItemID id) {
  auto found = std::find_if(contents.items.begin(), contents.items.end(),
                            [id](const PasteboardItem& item) { return item.id == id; });
  return found == contents.items.end() ? nullptr : &*found;
}

// The contents of the reference's view, or the status that says why there
// are none.
OSStatus ViewContents(PasteboardRef pasteboard, const PasteboardContents** contents) {
  if (OSStatus status = Decode(pasteboard->view.get()); status != noErr)
    return status;
  *contents = &*pasteboard->view->contents;
  return noErr;
}

// The flavor of an item in the reference's view, or the status that says why
// there is none.
OSStatus FindFlavor(PasteboardRef pasteboard, PasteboardItemID id, std::string_view type,
                    const PasteboardFlavor** flavor) {
  if (pasteboard == nullptr)
    return paramErr;
  const PasteboardContents* contents = nullptr;
  if (OSStatus status = ViewContents(pasteboard, &contents); status != noErr)
    return status;
  const PasteboardItem* item = FindItem(*contents, id);
  if (item == nullptr)
    return badPasteboardItemErr;
  for (const PasteboardFlavor& candidate : item->flavors) {
    if (candidate.type == type) {
      *flavor = &candidate;
      return noErr;
    }
  }
  return badPasteboardFlavorErr;
}

}  // namespace

void SetPasteboardTestHooks(PasteboardTestHooks new_hooks) {
  std::lock_guard lock(hooks_mutex);
  hooks = std::move(new_hooks);
}

OSStatus PasteboardCreate(std::string_view name, PasteboardRef* pasteboard) {
  if (pasteboard == nullptr || !ValidName(name))
    return paramErr;
  if (OSStatus status = RunFaultHook(&PasteboardTestHooks::create); status != noErr)
    return status;

  int error = 0;
  std::string why;
  int base = OpenPasteboardsDirectory(&error, &why);
  int directory = base < 0 ? -1 : OpenPrivateDirectory(base, std::string(name), &error, &why);
  if (base >= 0)
    close(base);
  if (directory < 0) {
    hkwprintf("Pasteboard \"%s\" unavailable: %s\n", std::string(name), why);
    return StatusFromErrno(error);
  }

  auto created = std::make_unique<OpaquePasteboardRef>();
  created->directory = directory;
  if (!FillRandom(created->token.data(), created->token.size())) {
    close(directory);
    return ioErr;
  }
  Refresh(created.get());
  created->seen_change = created->view->header.change;
  *pasteboard = created.release();
  return noErr;
}

void PasteboardRelease(PasteboardRef pasteboard) {
  if (pasteboard == nullptr)
    return;
  close(pasteboard->directory);
  delete pasteboard;
}

OSStatus PasteboardClear(PasteboardRef pasteboard) {
  if (pasteboard == nullptr)
    return paramErr;
  if (OSStatus status = RunFaultHook(&PasteboardTestHooks::clear); status != noErr)
    return status;
  ChangeLock lock(pasteboard->directory);
  if (lock.status() != noErr)
    return lock.status();
  PasteboardContents cleared;
  cleared.owner = pasteboard->token;
  return StoreContents(pasteboard, std::move(cleared), true);
}

PasteboardSyncFlags PasteboardSynchronize(PasteboardRef pasteboard) {
  if (pasteboard == nullptr)
    return 0;
  const std::function<PasteboardSyncFlags()> hook = CurrentHooks().synchronize;
  PasteboardSyncFlags flags = hook ? hook() : 0;
  Refresh(pasteboard);
  const PasteboardVersion& view = *pasteboard->view;
  if (view.header.change != pasteboard->seen_change)
    flags |= kPasteboardModified;
  pasteboard->seen_change = view.header.change;
  if (view.status == noErr && view.header.change != 0 && view.header.owner == pasteboard->token)
    flags |= kPasteboardClientIsOwner;
  return flags;
}

OSStatus PasteboardPutItemFlavor(PasteboardRef pasteboard, PasteboardItemID item,
                                 std::string_view flavor_type, std::string_view data,
                                 PasteboardFlavorFlags flags) {
  if (pasteboard == nullptr || flavor_type.empty())
    return paramErr;
  if (OSStatus status = RunFaultHook(&PasteboardTestHooks::put); status != noErr)
    return status;
  ChangeLock lock(pasteboard->directory);
  if (lock.status() != noErr)
    return lock.status();
  PasteboardContents contents;
  // A pasteboard that cannot be read no longer names us as its owner.
  if (LoadStored(pasteboard->directory, &contents) != noErr || contents.change == 0 ||
      contents.owner != pasteboard->token) {
    return notPasteboardOwnerErr;
  }
  auto found =
      std::find_if(contents.items.begin(), contents.items.end(),
                   [item](const PasteboardItem& candidate) { return candidate.id == item; });
  if (found == contents.items.end()) {
    found = contents.items.insert(found, PasteboardItem{item, {}});
  }
  for (const PasteboardFlavor& existing : found->flavors) {
    if (existing.type == flavor_type)
      return duplicatePasteboardFlavorErr;
  }
  // Borrowed for this call only: the payload goes to the file from where it lies.
  found->flavors.push_back(
      PasteboardFlavor{std::string(flavor_type), flags, cf::Data(nullptr, data)});
  return StoreContents(pasteboard, std::move(contents), false);
}

OSStatus PasteboardGetItemCount(PasteboardRef pasteboard, size_t* count) {
  if (pasteboard == nullptr || count == nullptr)
    return paramErr;
  const PasteboardContents* contents = nullptr;
  if (OSStatus status = ViewContents(pasteboard, &contents); status != noErr)
    return status;
  *count = contents->items.size();
  return noErr;
}

OSStatus PasteboardGetItemIdentifier(PasteboardRef pasteboard, size_t index,
                                     PasteboardItemID* item) {
  if (pasteboard == nullptr || item == nullptr)
    return paramErr;
  const PasteboardContents* contents = nullptr;
  if (OSStatus status = ViewContents(pasteboard, &contents); status != noErr)
    return status;
  if (index < 1 || index > contents->items.size())
    return badPasteboardIndexErr;
  *item = contents->items[index - 1].id;
  return noErr;
}

OSStatus PasteboardCopyItemFlavors(PasteboardRef pasteboard, PasteboardItemID item,
                                   std::vector<std::string>* flavor_types) {
  if (pasteboard == nullptr || flavor_types == nullptr)
    return paramErr;
  const PasteboardContents* contents = nullptr;
  if (OSStatus status = ViewContents(pasteboard, &contents); status != noErr)
    return status;
  const PasteboardItem* found = FindItem(*contents, item);
  if (found == nullptr)
    return badPasteboardItemErr;
  flavor_types->clear();
  for (const PasteboardFlavor& flavor : found->flavors)
    flavor_types->push_back(flavor.type);
  return noErr;
}

OSStatus PasteboardCopyItemFlavorData(PasteboardRef pasteboard, PasteboardItemID item,
                                      std::string_view flavor_type, cf::Data* data) {
  if (data == nullptr)
    return paramErr;
  const PasteboardFlavor* flavor = nullptr;
  OSStatus status = FindFlavor(pasteboard, item, flavor_type, &flavor);
  if (status == noErr)
    *data = flavor->data;
  return status;
}

OSStatus PasteboardGetItemFlavorFlags(PasteboardRef pasteboard, PasteboardItemID item,
                                      std::string_view flavor_type, PasteboardFlavorFlags* flags) {
  if (flags == nullptr)
    return paramErr;
  const PasteboardFlavor* flavor = nullptr;
  OSStatus status = FindFlavor(pasteboard, item, flavor_type, &flavor);
  if (status == noErr)
    *flags = flavor->flags;
  return status;
}
