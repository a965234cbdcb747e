#include "diag/kevent_dump.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "hookwright/log.h"
#include "state.h"

namespace {

using ::testing::HasSubstr;

class KEventDumpTest : public ::testing::Test {
 protected:
  void SetUp() override {
    previous_sink_ = hookwright::SetLogSink([this](std::string_view bytes) { log_ += bytes; });
    previous_switch_ = gLogStuff.exchange(true);
  }
  void TearDown() override {
    hookwright::SetLogSink(previous_sink_);
    gLogStuff = previous_switch_;
  }

  std::string log_;
  hookwright::LogSink previous_sink_;
  bool previous_switch_ = false;
};

struct DumpCase {
  const char* name;
  struct kevent event;
  const char* expected;  // the whole gathered text, or the piece under test
};

void* Pointer(uintptr_t value) {
  return reinterpret_cast<void*>(value);
}

constexpr uintptr_t kWide = uintptr_t{1} << 32;

const DumpCase kCases[] = {
    {"watcher write",
     {5, EVFILT_VNODE, 0x0021, 0x02, 0, nullptr},
     "\tident=5, filter=EVFILT_VNODE, flags=0x0021 (EV_ADD | EV_CLEAR), fflags=0x00000002 "
     "(NOTE_WRITE)\n\tdata = 0, udata = 0x00000000\n"},
    {"write that extended",
     {5, EVFILT_VNODE, 0x0021, 0x06, 0, nullptr},
     "\tident=5, filter=EVFILT_VNODE, flags=0x0021 (EV_ADD | EV_CLEAR), fflags=0x00000006 "
     "(NOTE_WRITE | NOTE_EXTEND)\n\tdata = 0, udata = 0x00000000\n"},
    {"zero flags on a read filter",
     {7, EVFILT_READ, 0, 0, -1, Pointer(0x1234)},
     "\tident=7, filter=EVFILT_READ, flags=0x0000, fflags=0x00000000 ()\n"
     "\tdata = -1, udata = 0x00001234\n"},
    {"every watched note",
     {5, EVFILT_VNODE, 0x0021, 0x77, 0, nullptr},
     "fflags=0x00000077 (NOTE_DELETE | NOTE_WRITE | NOTE_EXTEND | NOTE_LINK | NOTE_RENAME | "
     "NOTE_REVOKE)\n"},
    {"end of file with error",
     {5, EVFILT_VNODE, 0xc000, 0, 0, nullptr},
     " flags=0xc000 (EV_EOF | EV_ERROR), "},
    {"every flag",
     {5, EVFILT_VNODE, 0xf03f, 0, 0, nullptr},
     " flags=0xf03f (EV_EOF | EV_ERROR | EV_ADD | EV_DELETE | EV_ENABLE | EV_DISABLE | "
     "EV_ONESHOT | EV_CLEAR), "},
    {"unnamed bit puts a separator first",
     {5, EVFILT_VNODE, 0x1001, 0, 0, nullptr},
     " flags=0x1001 ( | EV_ADD), "},
    {"error after an unnamed bit",
     {5, EVFILT_VNODE, 0x5000, 0, 0, nullptr},
     " flags=0x5000 (EV_ERROR), "},
    {"only unnamed flags", {5, EVFILT_VNODE, 0x0040, 0, 0, nullptr}, " flags=0x0040 (), "},
    {"first and last note",
     {5, EVFILT_VNODE, 0, 0x41, 0, nullptr},
     "fflags=0x00000041 (NOTE_DELETE | NOTE_REVOKE)\n"},
    {"only unnamed notes", {5, EVFILT_VNODE, 0, 0x80, 0, nullptr}, "fflags=0x00000080 ()\n"},
    {"filter 0", {5, 0, 0, 0, 0, nullptr}, "filter=EVFILT_UNKNOWN, "},
    {"last named filter", {5, EVFILT_MACHPORT, 0, 0, 0, nullptr}, "filter=EVFILT_MACHPORT, "},
    {"filter past the table", {5, -9, 0, 0, 0, nullptr}, "filter=EVFILT_UNKNOWN(-9), "},
    {"lowest filter", {5, INT16_MIN, 0, 0, 0, nullptr}, "filter=EVFILT_UNKNOWN(-32768), "},
    {"ident as 32 bits", {kWide + 5, EVFILT_VNODE, 0, 0, 0, nullptr}, "\tident=5, "},
    {"data as 32 bits",
     {5, EVFILT_VNODE, 0, 0, static_cast<intptr_t>(kWide - 2), nullptr},
     "\tdata = -2, "},
};

TEST_F(KEventDumpTest, NamesTheRecordsParts) {
  for (const DumpCase& c : kCases) {
    log_.clear();
    QBFA_PrintKEvent(&c.event);
    EXPECT_THAT(log_, HasSubstr(c.expected)) << c.name;
  }
}

TEST_F(KEventDumpTest, WritesOneLogCallWithAnEmptyLineAfter) {
  int calls = 0;
  hookwright::SetLogSink([&](std::string_view bytes) {
    ++calls;
    log_ += bytes;
  });
  QBFA_PrintKEvent(&kCases[0].event);
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(log_, std::string("[QB] ") + kCases[0].expected + "\n");
}

TEST_F(KEventDumpTest, SilentWhenTheLogSwitchIsOffOrThereIsNoRecord) {
  QBFA_PrintKEvent(nullptr);
  gLogStuff = false;
  for (const DumpCase& c : kCases)
    QBFA_PrintKEvent(&c.event);
  EXPECT_EQ(log_, "");
}

}  // namespace
