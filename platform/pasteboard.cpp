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
#include "platform/private_directory.h"
#include "platform/whole_file.h"

struct OpaquePasteboardRef {
  int directory = -1;
  PasteboardToken token{};
  // The change stamp of the version this reference last saw or wrote.
  uint64_t seen_change = 0;
  // That version itself, for the reading calls; `view_status` is not noErr
  // when it could not be read.
  PasteboardContents view;
  OSStatus view_status = noErr;
};

namespace {

constexpr char kContentsFile[] = "contents";
constexpr char kLockFile[] = "lock";
// Far beyond any set tree; keeps a damaged or hostile file from exhausting memory.
constexpr size_t kContentsLimit = size_t{256} << 20;

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

// Reads the stored pasteboard. A pasteboard never written reads as empty and
// unowned.
OSStatus LoadContents(int directory, PasteboardContents* contents) {
  std::string bytes;
  int error = ReadWholeFile(directory, kContentsFile, kContentsLimit, &bytes);
  if (error == ENOENT) {
    *contents = PasteboardContents{};
    return noErr;
  }
  if (error != 0)
    return StatusFromErrno(error);
  std::optional<PasteboardContents> decoded = DecodePasteboardContents(bytes);
  if (!decoded)
    return ioErr;
  *contents = std::move(*decoded);
  return noErr;
}

// Stores `contents` under a new change stamp and makes it this reference's view.
OSStatus StoreContents(PasteboardRef pasteboard, PasteboardContents contents) {
  std::optional<uint64_t> stamp = NewChangeStamp();
  if (!stamp)
    return ioErr;
  contents.change = *stamp;
  std::string bytes = EncodePasteboardContents(contents);
  if (bytes.size() > kContentsLimit)
    return memFullErr;
  int error = WriteWholeFileAtomically(pasteboard->directory, kContentsFile, bytes);
  if (error != 0)
    return StatusFromErrno(error);
  pasteboard->seen_change = contents.change;
  pasteboard->view = std::move(contents);
  pasteboard->view_status = noErr;
  return noErr;
}

void Refresh(PasteboardRef pasteboard) {
  pasteboard->view_status = LoadContents(pasteboard->directory, &pasteboard->view);
  if (pasteboard->view_status != noErr)
    pasteboard->view = PasteboardContents{};
}

const PasteboardItem* FindItem(const PasteboardContents& contents, PasteboardItemID id) {
  auto found = std::find_if(contents.items.begin(), contents.items.end(),
                            [id](const PasteboardItem& item) { return item.id == id; });
  return found == contents.items.end() ? nullptr : &*found;
}

// The flavor of an item in the reference's view, or the status that says why
// there is none.
OSStatus FindFlavor(PasteboardRef pasteboard, PasteboardItemID id, std::string_view type,
                    const PasteboardFlavor** flavor) {
  if (pasteboard == nullptr)
    return paramErr;
  if (pasteboard->view_status != noErr)
    return pasteboard->view_status;
  const PasteboardItem* item = FindItem(pasteboard->view, id);
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
  created->seen_change = created->view.change;
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
  return StoreContents(pasteboard, std::move(cleared));
}

PasteboardSyncFlags PasteboardSynchronize(PasteboardRef pasteboard) {
  if (pasteboard == nullptr)
    return 0;
  const std::function<PasteboardSyncFlags()> hook = CurrentHooks().synchronize;
  PasteboardSyncFlags flags = hook ? hook() : 0;
  Refresh(pasteboard);
  if (pasteboard->view.change != pasteboard->seen_change)
    flags |= kPasteboardModified;
  pasteboard->seen_change = pasteboard->view.change;
  if (pasteboard->view_status == noErr && pasteboard->view.change != 0 &&
      pasteboard->view.owner == pasteboard->token) {
    flags |= kPasteboardClientIsOwner;
  }
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
  if (LoadContents(pasteboard->directory, &contents) != noErr || contents.change == 0 ||
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
  found->flavors.push_back(PasteboardFlavor{std::string(flavor_type), flags, std::string(data)});
  return StoreContents(pasteboard, std::move(contents));
}

OSStatus PasteboardGetItemCount(PasteboardRef pasteboard, size_t* count) {
  if (pasteboard == nullptr || count == nullptr)
    return paramErr;
  if (pasteboard->view_status != noErr)
    return pasteboard->view_status;
  *count = pasteboard->view.items.size();
  return noErr;
}

OSStatus PasteboardGetItemIdentifier(PasteboardRef pasteboard, size_t index,
                                     PasteboardItemID* item) {
  if (pasteboard == nullptr || item == nullptr)
    return paramErr;
  if (pasteboard->view_status != noErr)
    return pasteboard->view_status;
  if (index < 1 || index > pasteboard->view.items.size())
    return badPasteboardIndexErr;
  *item = pasteboard->view.items[index - 1].id;
  return noErr;
}

OSStatus PasteboardCopyItemFlavors(PasteboardRef pasteboard, PasteboardItemID item,
                                   std::vector<std::string>* flavor_types) {
  if (pasteboard == nullptr || flavor_types == nullptr)
    return paramErr;
  if (pasteboard->view_status != noErr)
    return pasteboard->view_status;
  const PasteboardItem* found = FindItem(pasteboard->view, item);
  if (found == nullptr)
    return badPasteboardItemErr;
  flavor_types->clear();
  for (const PasteboardFlavor& flavor : found->flavors)
    flavor_types->push_back(flavor.type);
  return noErr;
}

OSStatus PasteboardCopyItemFlavorData(PasteboardRef pasteboard, PasteboardItemID item,
                                      std::string_view flavor_type, std::string* data) {
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
