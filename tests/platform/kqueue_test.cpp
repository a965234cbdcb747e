#include "platform/kqueue.h"

#include <errno.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <thread>

#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;

constexpr uint32_t kWatcherNotes = 0x77;  // everything but NOTE_ATTRIB
constexpr struct timespec kNoWait = {0, 0};
// Long enough for any event that is on its way; the tests never rely on it
// running out.
constexpr struct timespec kPatience = {10, 0};

void WriteFile(const fs::path& path, const char* text) {
  FILE* file = fopen(path.c_str(), "w");
  ASSERT_NE(file, nullptr);
  fputs(text, file);
  fclose(file);
}

void Overwrite(const fs::path& path) {
  int fd = open(path.c_str(), O_WRONLY);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(pwrite(fd, "H", 1, 0), 1);
  close(fd);
}

void Append(const fs::path& path) {
  int fd = open(path.c_str(), O_WRONLY | O_APPEND);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(write(fd, "more", 4), 4);
  close(fd);
}

class KQueueTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::path(::testing::TempDir()) / "kqueue-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir_ = pattern;
    file_ = dir_ / "watched.db";
    marker_ = dir_ / "marker";
    WriteFile(file_, "hello");
    WriteFile(marker_, "m");
    fd_ = open(file_.c_str(), O_EVTONLY);
    ASSERT_GE(fd_, 0);
    kq_ = kqueue();
    ASSERT_GE(kq_, 0);
  }

  void TearDown() override {
    if (kq_ >= 0)
      KQueueClose(kq_);
    if (fd_ >= 0)
      close(fd_);
    if (marker_fd_ >= 0)
      close(marker_fd_);
    fs::remove_all(dir_);
  }

  // Registers `fd` with the vnode filter; returns what kevent returned.
  int Register(int fd, uint32_t notes, uint16_t flags = EV_ADD | EV_CLEAR, void* udata = nullptr) {
    struct kevent change;
    EV_SET(&change, fd, EVFILT_VNODE, flags, notes, 0, udata);
    return kevent(kq_, &change, 1, nullptr, 0, nullptr);
  }

  // Waits for events and maps them by descriptor.
  std::map<uintptr_t, struct kevent> Wait(const struct timespec& timeout = kPatience) {
    struct kevent events[4];
    int count = kevent(kq_, nullptr, 0, events, 4, &timeout);
    EXPECT_GE(count, 0) << strerror(errno);
    std::map<uintptr_t, struct kevent> by_ident;
    for (int i = 0; i < count; ++i)
      by_ident[events[i].ident] = events[i];
    return by_ident;
  }

  // The notes collected for the watched file up to now, or 0. A write to a
  // second watched file marks the point: the kernel queues events in order, so
  // once the marker's event is in, everything before it is in too.
  uint32_t NotesSoFar() {
    if (marker_fd_ < 0) {
      marker_fd_ = open(marker_.c_str(), O_EVTONLY);
      EXPECT_EQ(Register(marker_fd_, NOTE_WRITE), 0);
    }
    Overwrite(marker_);
    auto events = Wait();
    EXPECT_EQ(events.count(marker_fd_), 1u);
    auto found = events.find(fd_);
    return found == events.end() ? 0 : found->second.fflags;
  }

  fs::path dir_, file_, marker_;
  int fd_ = -1, marker_fd_ = -1, kq_ = -1;
};

struct ChangeCase {
  const char* name;
  uint32_t registered;
  std::function<void(const fs::path& file, const fs::path& dir)> change;
  uint32_t expected;
};

class KQueueChangeTest : public KQueueTest, public ::testing::WithParamInterface<ChangeCase> {};

TEST_P(KQueueChangeTest, ReportsExactlyTheRegisteredNotes) {
  const ChangeCase& c = GetParam();
  ASSERT_EQ(Register(fd_, c.registered), 0);
  c.change(file_, dir_);
  EXPECT_EQ(NotesSoFar(), c.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Files, KQueueChangeTest,
    ::testing::Values(
        ChangeCase{"Write", kWatcherNotes, [](auto& f, auto&) { Overwrite(f); }, NOTE_WRITE},
        ChangeCase{"Append", kWatcherNotes, [](auto& f, auto&) { Append(f); },
                   NOTE_WRITE | NOTE_EXTEND},
        ChangeCase{"ChmodUnwatched", kWatcherNotes,
                   [](auto& f, auto&) { ASSERT_EQ(chmod(f.c_str(), 0600), 0); }, 0},
        ChangeCase{"ChmodWatched", kWatcherNotes | NOTE_ATTRIB,
                   [](auto& f, auto&) { ASSERT_EQ(chmod(f.c_str(), 0600), 0); }, NOTE_ATTRIB},
        ChangeCase{"Unlink", kWatcherNotes, [](auto& f, auto&) { ASSERT_EQ(unlink(f.c_str()), 0); },
                   NOTE_DELETE},
        ChangeCase{"Rename", kWatcherNotes, [](auto& f, auto& d) { fs::rename(f, d / "moved.db"); },
                   NOTE_RENAME},
        ChangeCase{"Link", kWatcherNotes,
                   [](auto& f, auto& d) { ASSERT_EQ(link(f.c_str(), (d / "l").c_str()), 0); },
                   NOTE_LINK},
        ChangeCase{"ReplacedByRename", kWatcherNotes,
                   [](auto& f, auto& d) {
                     WriteFile(d / "new.db", "new");
                     fs::rename(d / "new.db", f);
                   },
                   NOTE_DELETE},
        ChangeCase{"UnregisteredWrite", NOTE_DELETE, [](auto& f, auto&) { Append(f); }, 0},
        ChangeCase{"WriteAndRenameAccumulate", kWatcherNotes,
                   [](auto& f, auto& d) {
                     Overwrite(f);
                     fs::rename(f, d / "moved.db");
                   },
                   NOTE_WRITE | NOTE_RENAME}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(KQueueTest, EventCarriesTheRegistration) {
  int cookie = 0;
  ASSERT_EQ(Register(fd_, kWatcherNotes, EV_ADD | EV_CLEAR, &cookie), 0);
  Overwrite(file_);
  struct kevent event;
  ASSERT_EQ(kevent(kq_, nullptr, 0, &event, 1, &kPatience), 1);
  EXPECT_EQ(event.ident, static_cast<uintptr_t>(fd_));
  EXPECT_EQ(event.filter, EVFILT_VNODE);
  EXPECT_EQ(event.flags, EV_ADD | EV_CLEAR);
  EXPECT_EQ(event.fflags, NOTE_WRITE);
  EXPECT_EQ(event.data, 0);
  EXPECT_EQ(event.udata, &cookie);
}

struct FlagsCase {
  const char* name;
  uint16_t flags;
  uint16_t change_after_first;  // applied between the two waits; 0 for none
  uint32_t first, second;
};

TEST_F(KQueueTest, RegistrationFlagsShapeDelivery) {
  constexpr uint32_t kGrew = NOTE_WRITE | NOTE_EXTEND;
  const FlagsCase cases[] = {
      {"clear forgets delivered notes", EV_ADD | EV_CLEAR, 0, kGrew, NOTE_WRITE},
      {"without clear notes stay", EV_ADD, 0, kGrew, kGrew},
      {"oneshot removes", EV_ADD | EV_ONESHOT, 0, kGrew, 0},
      {"disabled keeps collecting", EV_ADD | EV_CLEAR | EV_DISABLE, EV_ENABLE, 0, kGrew},
  };
  for (const FlagsCase& c : cases) {
    SCOPED_TRACE(c.name);
    ASSERT_EQ(Register(fd_, kWatcherNotes, c.flags), 0);
    Append(file_);
    EXPECT_EQ(NotesSoFar(), c.first);
    if (c.change_after_first) {
      ASSERT_EQ(Register(fd_, 0, c.change_after_first), 0);
    }
    Overwrite(file_);
    EXPECT_EQ(NotesSoFar(), c.second);
    Register(fd_, 0, EV_DELETE);
  }
}

TEST_F(KQueueTest, FollowsTheFileNotItsName) {
  ASSERT_EQ(Register(fd_, kWatcherNotes), 0);
  fs::rename(file_, dir_ / "moved.db");
  EXPECT_EQ(NotesSoFar(), NOTE_RENAME);
  WriteFile(file_, "a new file under the old name");
  EXPECT_EQ(NotesSoFar(), 0u);
  Overwrite(dir_ / "moved.db");
  EXPECT_EQ(NotesSoFar(), NOTE_WRITE);
}

TEST_F(KQueueTest, RegistrationOutlivesTheCallersDescriptor) {
  ASSERT_EQ(Register(fd_, kWatcherNotes), 0);
  EXPECT_EQ(NotesSoFar(), 0u);  // opens the marker before the number is free
  ASSERT_EQ(close(fd_), 0);
  Overwrite(file_);
  EXPECT_EQ(NotesSoFar(), NOTE_WRITE);

  // The number now names another file; adding it watches that file.
  int other = open(marker_.c_str(), O_EVTONLY);
  if (other != fd_) {
    ASSERT_EQ(dup2(other, fd_), fd_);
    close(other);
  }
  ASSERT_EQ(Register(fd_, NOTE_EXTEND), 0) << strerror(errno);
  Append(marker_);
  Append(file_);
  EXPECT_EQ(NotesSoFar(), NOTE_EXTEND);
}

TEST_F(KQueueTest, RegistrationsOfOneFileAreIndependent) {
  int second = open(file_.c_str(), O_EVTONLY);
  ASSERT_GE(second, 0);
  ASSERT_EQ(Register(fd_, kWatcherNotes), 0);
  ASSERT_EQ(Register(second, kWatcherNotes), 0);
  Overwrite(file_);
  auto events = Wait();
  EXPECT_EQ(events.size(), 2u);

  // Removing one must not stop the other: they share one kernel watch.
  ASSERT_EQ(Register(second, 0, EV_DELETE), 0);
  Overwrite(file_);
  EXPECT_EQ(NotesSoFar(), NOTE_WRITE);
  close(second);
}

TEST_F(KQueueTest, TimeoutLeavesTheRecordUntouched) {
  ASSERT_EQ(Register(fd_, kWatcherNotes), 0);
  struct kevent event;
  memset(&event, 0xa5, sizeof event);
  struct kevent before = event;
  for (const struct timespec& timeout : {kNoWait, timespec{0, 20000000}}) {
    EXPECT_EQ(kevent(kq_, nullptr, 0, &event, 1, &timeout), 0);
    EXPECT_EQ(memcmp(&event, &before, sizeof event), 0);
  }
}

struct BadChange {
  const char* name;
  struct kevent change;
  int error;
};

class KQueueBadChangeTest : public KQueueTest, public ::testing::WithParamInterface<BadChange> {};

TEST_P(KQueueBadChangeTest, ComesBackAsAnErrorRecord) {
  const BadChange& c = GetParam();
  struct kevent record;
  ASSERT_EQ(kevent(kq_, &c.change, 1, &record, 1, &kPatience), 1);
  EXPECT_EQ(record.flags, EV_ERROR);
  EXPECT_EQ(record.data, c.error);
  EXPECT_EQ(record.ident, c.change.ident);
  EXPECT_EQ(record.fflags, c.change.fflags);
  EXPECT_EQ(record.udata, c.change.udata);

  EXPECT_EQ(kevent(kq_, &c.change, 1, nullptr, 0, nullptr), -1);
  EXPECT_EQ(errno, c.error);
}

int cookie;
INSTANTIATE_TEST_SUITE_P(
    Changes, KQueueBadChangeTest,
    ::testing::Values(
        BadChange{
            "ClosedDescriptor", {999, EVFILT_VNODE, EV_ADD | EV_CLEAR, 0x77, 0, &cookie}, EBADF},
        BadChange{"UnknownRegistration", {0, EVFILT_VNODE, EV_DELETE, 0, 0, nullptr}, ENOENT},
        BadChange{"UnsupportedFilter", {0, EVFILT_READ, EV_ADD, 0, 0, nullptr}, EINVAL}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(KQueueCallTest, ClosedQueueIsGone) {
  int kq = kqueue();
  ASSERT_GE(kq, 0);
  ASSERT_EQ(KQueueClose(kq), 0);
  struct kevent event;
  EXPECT_EQ(kevent(kq, nullptr, 0, &event, 1, &kNoWait), -1);
  EXPECT_EQ(errno, EBADF);
  EXPECT_EQ(KQueueWake(kq), -1);
  EXPECT_EQ(KQueueClose(kq), -1);
}

TEST(KQueueCallTest, BlockedWaitIsReleasedFromAnotherThread) {
  struct Case {
    const char* name;
    int (*release)(int kq);
    int error;
  } cases[] = {{"wake", KQueueWake, EINTR}, {"close", KQueueClose, EBADF}};
  for (const Case& c : cases) {
    int kq = kqueue();
    ASSERT_GE(kq, 0);
    int result = 0, error = 0;
    std::thread waiter([&] {
      struct kevent event;
      result = kevent(kq, nullptr, 0, &event, 1, nullptr);
      error = errno;
    });
    EXPECT_EQ(c.release(kq), 0);
    waiter.join();
    EXPECT_EQ(result, -1) << c.name;
    EXPECT_EQ(error, c.error) << c.name;
    KQueueClose(kq);
  }
}

TEST(KQueueCallTest, WakeBeforeTheWaitReleasesItOnce) {
  int kq = kqueue();
  ASSERT_GE(kq, 0);
  ASSERT_EQ(KQueueWake(kq), 0);
  struct kevent event;
  EXPECT_EQ(kevent(kq, nullptr, 0, &event, 1, nullptr), -1);
  EXPECT_EQ(errno, EINTR);
  EXPECT_EQ(kevent(kq, nullptr, 0, &event, 1, &kNoWait), 0);
  KQueueClose(kq);
}

}  // namespace
