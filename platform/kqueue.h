// Kernel event queues: the BSD kqueue interface, built on inotify.
//
// Names and bit values are the BSD ones, so code written against kqueue reads
// the same here. Only the vnode filter is supported: it watches the file (the
// inode) an open descriptor refers to, whatever names that file gets later.
//
//   EV_ADD registers a descriptor, or updates the notes and user data of a
//   registration that exists. Notes that happen are collected for each
//   registration, only those in its fflags mask. A wait delivers every
//   registration with collected notes; EV_CLEAR forgets them on delivery
//   (without it they are delivered again on every wait), EV_ONESHOT removes
//   the registration on delivery, EV_DISABLE holds delivery back while notes
//   keep being collected.
//
//   NOTE_WRITE     the file's content was written
//   NOTE_EXTEND    the file grew
//   NOTE_ATTRIB    its attributes changed (permissions, owner, times)
//   NOTE_LINK      a link to it was made (its link count went up)
//   NOTE_DELETE    a name of it was removed (its link count went down)
//   NOTE_RENAME    it was renamed or moved
//   NOTE_REVOKE    its file system was unmounted
//
// A registration holds a duplicate of the registered descriptor, so it stays
// valid when the caller closes theirs; EV_DELETE or KQueueClose releases it.
//
// Queues are released with KQueueClose, not close(2).
//
// Threads: every call may be made from any thread. A thread blocked in kevent
// is released by KQueueWake (the wait returns -1 with errno EINTR) or by
// KQueueClose (it returns -1 with errno EBADF).
#ifndef PLATFORM_KQUEUE_H_
#define PLATFORM_KQUEUE_H_

#include <fcntl.h>
#include <time.h>

#include <cstdint>

// One change or one event.
struct kevent {
  uintptr_t ident;  // the descriptor
  int16_t filter;   // EVFILT_*
  uint16_t flags;   // EV_*
  uint32_t fflags;  // NOTE_* for the vnode filter
  intptr_t data;    // errno of a failed change (with EV_ERROR); 0 otherwise
  void* udata;      // the caller's, handed back unchanged
};

constexpr int16_t EVFILT_READ = -1;
constexpr int16_t EVFILT_WRITE = -2;
constexpr int16_t EVFILT_AIO = -3;
constexpr int16_t EVFILT_VNODE = -4;
constexpr int16_t EVFILT_PROC = -5;
constexpr int16_t EVFILT_SIGNAL = -6;
constexpr int16_t EVFILT_TIMER = -7;
constexpr int16_t EVFILT_MACHPORT = -8;

constexpr uint16_t EV_ADD = 0x0001;
constexpr uint16_t EV_DELETE = 0x0002;
constexpr uint16_t EV_ENABLE = 0x0004;
constexpr uint16_t EV_DISABLE = 0x0008;
constexpr uint16_t EV_ONESHOT = 0x0010;
constexpr uint16_t EV_CLEAR = 0x0020;
constexpr uint16_t EV_ERROR = 0x4000;
constexpr uint16_t EV_EOF = 0x8000;

constexpr uint32_t NOTE_DELETE = 0x01;
constexpr uint32_t NOTE_WRITE = 0x02;
constexpr uint32_t NOTE_EXTEND = 0x04;
constexpr uint32_t NOTE_ATTRIB = 0x08;
constexpr uint32_t NOTE_LINK = 0x10;
constexpr uint32_t NOTE_RENAME = 0x20;
constexpr uint32_t NOTE_REVOKE = 0x40;

// Opens a file only to watch it. Linux has no such mode, so it is a read-only
// open; the descriptor is not handed on to programs the host starts.
constexpr int O_EVTONLY = O_RDONLY | O_CLOEXEC;

inline void EV_SET(struct kevent* event, uintptr_t ident, int16_t filter, uint16_t flags,
                   uint32_t fflags, intptr_t data, void* udata) {
  *event = {ident, filter, flags, fflags, data, udata};
}

// A new, empty queue; -1 with errno set when the system is out of descriptors.
int kqueue();

// Applies `nchanges` changes from `changelist` in order, then, when `nevents`
// is positive, waits for events and stores up to `nevents` of them in
// `eventlist`. Returns the number stored, or 0 when `timeout` (null: no limit)
// passed first; a timed-out wait leaves `eventlist` untouched.
//
// A change that fails is reported in `eventlist` when there is room: a copy of
// the change with flags exactly EV_ERROR and data the errno (EBADF for a bad
// descriptor, ENOENT for an unknown registration, EINVAL for an unsupported
// filter); the call then returns the error records without waiting. Without
// room it returns -1 with that errno.
//
// -1 with errno: EBADF when `kq` is not an open queue (or is closed during the
// wait), EINTR when KQueueWake released the wait, EINVAL for a negative count
// or a bad timeout, EFAULT for a missing list.
int kevent(int kq, const struct kevent* changelist, int nchanges, struct kevent* eventlist,
           int nevents, const struct timespec* timeout);

// Releases the wait in progress on `kq`, or the next one when none is: that
// wait returns -1 with errno EINTR. Returns 0, or -1 with errno EBADF.
int KQueueWake(int kq);

// Closes the queue and its registrations; waits in progress return -1 with
// errno EBADF. Returns 0, or -1 with errno EBADF.
int KQueueClose(int kq);

#endif  // PLATFORM_KQUEUE_H_
