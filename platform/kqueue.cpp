#include "platform/kqueue.h"

#include <errno.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <climits>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace {

using Clock = std::chrono::steady_clock;

// Everything a vnode registration can report. Link counts are read with
// fstat: the registration holds the file open, so the kernel's own "deleted"
// event only comes once every descriptor is closed, far too late.
constexpr uint32_t kInotifyMask = IN_MODIFY | IN_ATTRIB | IN_MOVE_SELF | IN_DELETE_SELF;

// The flags a registration keeps and hands back with its events.
constexpr uint16_t kKeptFlags = EV_ADD | EV_ONESHOT | EV_CLEAR;

// A timeout this long counts as no limit; it keeps the deadline arithmetic
// far from overflow.
constexpr time_t kLongestTimeout = time_t{1} << 31;

// Owns one descriptor.
class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) : fd_(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~UniqueFd() {
    if (fd_ >= 0)
      close(fd_);
  }
  int get() const { return fd_; }
  // Gives the descriptor up without closing it.
  void Forget() { fd_ = -1; }

 private:
  int fd_ = -1;
};

struct Registration {
  uintptr_t ident = 0;
  uint16_t flags = 0;   // kKeptFlags of the change that added it
  uint32_t fflags = 0;  // the notes asked for
  void* udata = nullptr;
  bool enabled = true;
  uint32_t pending = 0;  // notes collected since the last delivery, within fflags
  UniqueFd file;         // our own duplicate of `ident`
  int watch = -1;        // inotify watch; -1 once the kernel dropped it
  off_t size = 0;        // as last seen, to tell a growing write
  nlink_t links = 0;     // as last seen, to tell links made and removed
};

// Whether `ident` still refers to the file the registration watches.
bool SameFile(uintptr_t ident, const Registration& registration) {
  struct stat named, watched;
  return ident <= static_cast<uintptr_t>(INT_MAX) && fstat(static_cast<int>(ident), &named) == 0 &&
         fstat(registration.file.get(), &watched) == 0 && named.st_dev == watched.st_dev &&
         named.st_ino == watched.st_ino;
}

// The notes that a batch of inotify events on a registration's file amounts
// to. Updates the size and link count the registration last saw.
uint32_t NotesFor(Registration& registration, uint32_t inotify_mask) {
  uint32_t notes = 0;
  if (inotify_mask & IN_MODIFY)
    notes |= NOTE_WRITE;
  if (inotify_mask & IN_MOVE_SELF)
    notes |= NOTE_RENAME;
  if (inotify_mask & IN_DELETE_SELF)
    notes |= NOTE_DELETE;
  if (inotify_mask & IN_UNMOUNT)
    notes |= NOTE_REVOKE;
  struct stat now;
  if (fstat(registration.file.get(), &now) != 0) {
    return (inotify_mask & IN_ATTRIB) ? notes | NOTE_ATTRIB : notes;
  }
  if (now.st_size > registration.size)
    notes |= NOTE_EXTEND;
  // A change of the link count also shows as an attribute change; it is
  // reported as what it is.
  if (now.st_nlink < registration.links) {
    notes |= NOTE_DELETE;
  } else if (now.st_nlink > registration.links) {
    notes |= NOTE_LINK;
  } else if (inotify_mask & IN_ATTRIB) {
    notes |= NOTE_ATTRIB;
  }
  registration.size = now.st_size;
  registration.links = now.st_nlink;
  return notes;
}

class Queue {
 public:
  Queue(UniqueFd inotify, UniqueFd wake) : inotify_(std::move(inotify)), wake_(std::move(wake)) {}

  // Applies one change; returns 0 or an errno value.
  int Apply(const struct kevent& change) {
    if (change.filter != EVFILT_VNODE)
      return EINVAL;
    std::lock_guard lock(mutex_);
    auto found = registrations_.find(change.ident);
    if (change.flags & EV_DELETE) {
      if (found == registrations_.end())
        return ENOENT;
      Remove(found);
      return 0;
    }
    // The caller may have closed the descriptor and opened another file under
    // the same number since: that is a new registration.
    if (found != registrations_.end() && (change.flags & EV_ADD) &&
        !SameFile(change.ident, found->second)) {
      Remove(found);
      found = registrations_.end();
    }
    if (found == registrations_.end()) {
      if (!(change.flags & EV_ADD))
        return ENOENT;
      // What happened before this registration belongs to the others on the
      // same file only.
      Collect();
      Registration added;
      if (int error = Watch(change.ident, added))
        return error;
      found = registrations_.emplace(change.ident, std::move(added)).first;
    }
    Registration& registration = found->second;
    if (change.flags & EV_ADD) {
      registration.flags = change.flags & kKeptFlags;
      registration.fflags = change.fflags;
      registration.udata = change.udata;
      registration.pending &= change.fflags;
    }
    if (change.flags & EV_DISABLE)
      registration.enabled = false;
    if (change.flags & EV_ENABLE)
      registration.enabled = true;
    return 0;
  }

  // Collects what happened and stores up to `capacity` events. Returns the
  // number stored, or -errno when the wait must end without events.
  int Harvest(struct kevent* events, int capacity) {
    std::lock_guard lock(mutex_);
    if (closed_)
      return -EBADF;
    if (wake_pending_) {
      wake_pending_ = false;
      uint64_t count;
      [[maybe_unused]] ssize_t drained = read(wake_.get(), &count, sizeof count);
      return -EINTR;
    }
    Collect();
    return Deliver(events, capacity);
  }

  // Blocks until something may have happened or `timeout` (null: no limit)
  // passed. Returns 0 or an errno value.
  int Block(const struct timespec* timeout) {
    struct pollfd fds[2];
    {
      std::lock_guard lock(mutex_);
      fds[0] = {inotify_.get(), POLLIN, 0};
      fds[1] = {wake_.get(), POLLIN, 0};
    }
    // Both descriptors stay open while a kevent call holds the queue, so the
    // poll needs no lock.
    if (ppoll(fds, 2, timeout, nullptr) < 0 && errno != EINTR)
      return errno;
    return 0;
  }

  void Wake() {
    std::lock_guard lock(mutex_);
    wake_pending_ = true;
    Signal();
  }

  void Close() {
    std::lock_guard lock(mutex_);
    closed_ = true;
    registrations_.clear();
    Signal();
  }

  // The queue's number was closed behind its back and now names another
  // queue: stop using it, and never close it.
  void Abandon() {
    std::lock_guard lock(mutex_);
    inotify_.Forget();
    closed_ = true;
    registrations_.clear();
    Signal();
  }

 private:
  using Registrations = std::map<uintptr_t, Registration>;

  // Starts watching the file behind `ident`. Returns 0 or an errno value.
  int Watch(uintptr_t ident, Registration& registration) {
    if (ident > static_cast<uintptr_t>(INT_MAX))
      return EBADF;
    UniqueFd file(fcntl(static_cast<int>(ident), F_DUPFD_CLOEXEC, 0));
    if (file.get() < 0)
      return errno;
    struct stat now;
    if (fstat(file.get(), &now) != 0)
      return errno;
    // inotify watches names; the descriptor's entry in /proc names the very
    // file it has open, even after a rename or an unlink.
    std::string own_entry = "/proc/self/fd/" + std::to_string(file.get());
    int watch = inotify_add_watch(inotify_.get(), own_entry.c_str(), kInotifyMask);
    if (watch < 0)
      return errno;
    registration.ident = ident;
    registration.file = std::move(file);
    registration.watch = watch;
    registration.size = now.st_size;
    registration.links = now.st_nlink;
    return 0;
  }

  void Remove(Registrations::iterator doomed) {
    int watch = doomed->second.watch;
    registrations_.erase(doomed);
    if (watch < 0)
      return;
    // Registrations of one file share its watch.
    for (const auto& [ident, other] : registrations_) {
      if (other.watch == watch)
        return;
    }
    inotify_rm_watch(inotify_.get(), watch);
  }

  // Reads every pending inotify event and turns it into notes.
  void Collect() {
    std::map<int, uint32_t> masks;
    bool overflowed = false;
    alignas(struct inotify_event) char buffer[4096];
    for (;;) {
      ssize_t length = read(inotify_.get(), buffer, sizeof buffer);
      if (length <= 0)
        break;
      for (ssize_t offset = 0; offset < length;) {
        const auto* event = reinterpret_cast<const struct inotify_event*>(buffer + offset);
        if (event->mask & IN_Q_OVERFLOW)
          overflowed = true;
        if (event->wd >= 0)
          masks[event->wd] |= event->mask;
        offset += static_cast<ssize_t>(sizeof(struct inotify_event) + event->len);
      }
    }
    for (auto& [ident, registration] : registrations_) {
      uint32_t mask = 0;
      if (auto it = masks.find(registration.watch); it != masks.end())
        mask = it->second;
      // Events were lost: assume a write, and let the file's state tell the rest.
      if (overflowed)
        mask |= IN_MODIFY;
      if (mask == 0)
        continue;
      registration.pending |= NotesFor(registration, mask) & registration.fflags;
      if (mask & IN_IGNORED)
        registration.watch = -1;
    }
  }

  int Deliver(struct kevent* events, int capacity) {
    int stored = 0;
    for (auto it = registrations_.begin(); it != registrations_.end() && stored < capacity;) {
      Registration& registration = it->second;
      if (!registration.enabled || registration.pending == 0) {
        ++it;
        continue;
      }
      events[stored++] = {
          registration.ident, EVFILT_VNODE, registration.flags, registration.pending, 0,
          registration.udata};
      if (registration.flags & EV_ONESHOT) {
        Remove(it++);
        continue;
      }
      if (registration.flags & EV_CLEAR)
        registration.pending = 0;
      ++it;
    }
    return stored;
  }

  void Signal() {
    uint64_t one = 1;
    [[maybe_unused]] ssize_t written = write(wake_.get(), &one, sizeof one);
  }

  std::mutex mutex_;
  UniqueFd inotify_;  // its number is the queue's number
  UniqueFd wake_;     // readable while a wake or close is pending
  bool closed_ = false;
  bool wake_pending_ = false;
  Registrations registrations_;
};

// Open queues by number. Never destroyed, so a thread still in kevent while
// the process exits finds it intact.
struct Registry {
  std::mutex mutex;
  std::map<int, std::shared_ptr<Queue>> queues;
};

Registry& TheRegistry() {
  static Registry* registry = new Registry;
  return *registry;
}

std::shared_ptr<Queue> FindQueue(int kq) {
  Registry& registry = TheRegistry();
  std::lock_guard lock(registry.mutex);
  auto found = registry.queues.find(kq);
  return found == registry.queues.end() ? nullptr : found->second;
}

int Fail(int error) {
  errno = error;
  return -1;
}

// What is left of the wait until `deadline`, never negative.
struct timespec Remaining(Clock::time_point deadline) {
  auto left = std::chrono::duration_cast<std::chrono::nanoseconds>(deadline - Clock::now());
  if (left.count() < 0)
    left = std::chrono::nanoseconds(0);
  auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
  return {static_cast<time_t>(seconds.count()), static_cast<long>((left - seconds).count())};
}

}  // namespace

int kqueue() {
  UniqueFd inotify(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  if (inotify.get() < 0)
    return -1;
  UniqueFd wake(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
  if (wake.get() < 0)
    return -1;
  int kq = inotify.get();
  auto queue = std::make_shared<Queue>(std::move(inotify), std::move(wake));
  Registry& registry = TheRegistry();
  std::lock_guard lock(registry.mutex);
  auto [slot, inserted] = registry.queues.try_emplace(kq, queue);
  if (!inserted) {
    slot->second->Abandon();
    slot->second = queue;
  }
  return kq;
}

int kevent(int kq, const struct kevent* changelist, int nchanges, struct kevent* eventlist,
           int nevents, const struct timespec* timeout) {
  std::shared_ptr<Queue> queue = FindQueue(kq);
  if (!queue)
    return Fail(EBADF);
  if (nchanges < 0 || nevents < 0)
    return Fail(EINVAL);
  if ((nchanges > 0 && !changelist) || (nevents > 0 && !eventlist))
    return Fail(EFAULT);
  if (timeout && (timeout->tv_sec < 0 || timeout->tv_nsec < 0 || timeout->tv_nsec >= 1000000000)) {
    return Fail(EINVAL);
  }

  int errors = 0;
  for (int i = 0; i < nchanges; ++i) {
    int error = queue->Apply(changelist[i]);
    if (error == 0)
      continue;
    if (errors >= nevents)
      return Fail(error);
    struct kevent& record = eventlist[errors++];
    record = changelist[i];
    record.flags = EV_ERROR;
    record.data = error;
  }
  if (errors > 0 || nevents == 0)
    return errors;

  bool unlimited = !timeout || timeout->tv_sec >= kLongestTimeout;
  Clock::time_point deadline{};
  if (!unlimited) {
    deadline = Clock::now() + std::chrono::seconds(timeout->tv_sec) +
               std::chrono::nanoseconds(timeout->tv_nsec);
  }
  for (;;) {
    int stored = queue->Harvest(eventlist, nevents);
    if (stored < 0)
      return Fail(-stored);
    if (stored > 0)
      return stored;
    struct timespec left {};
    if (!unlimited) {
      left = Remaining(deadline);
      if (left.tv_sec == 0 && left.tv_nsec == 0)
        return 0;
    }
    if (int error = queue->Block(unlimited ? nullptr : &left))
      return Fail(error);
  }
}

int KQueueWake(int kq) {
  std::shared_ptr<Queue> queue = FindQueue(kq);
  if (!queue)
    return Fail(EBADF);
  queue->Wake();
  return 0;
}

int KQueueClose(int kq) {
  std::shared_ptr<Queue> queue;
  {
    Registry& registry = TheRegistry();
    std::lock_guard lock(registry.mutex);
    auto found = registry.queues.find(kq);
    if (found == registry.queues.end())
      return Fail(EBADF);
    queue = std::move(found->second);
    registry.queues.erase(found);
  }
  queue->Close();
  return 0;
}
