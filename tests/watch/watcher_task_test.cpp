// The watcher task's rules, played against a scripted platform. Each script
// runs in a fresh process: the task's last acted-on date lives as long as the
// process, and every script starts from the one a plug-in starts with.
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <string>

#include "hookwright/log.h"
#include "state.h"
#include "tests/support/child_process.h"
#include "tests/watch/scripted_platform.h"
#include "watch/watcher.h"

namespace {

using scripted::Script;
using scripted::Wait;

constexpr struct kevent kWrite = {5, EVFILT_VNODE, EV_ADD | EV_CLEAR, NOTE_WRITE, 0, nullptr};
constexpr struct kevent kGrowingWrite = {
    5, EVFILT_VNODE, EV_ADD | EV_CLEAR, NOTE_WRITE | NOTE_EXTEND, 0, nullptr};
constexpr struct kevent kError = {5, EVFILT_VNODE, EV_ERROR, NOTE_WRITE, 9, nullptr};
constexpr struct kevent kErrorAmongFlags = {5, EVFILT_VNODE, EV_ERROR | EV_ADD, NOTE_WRITE,
                                            0, nullptr};

Wait Event(const struct kevent& event, double date) {
  return Wait{.event = event, .date = date};
}

Wait Timeout(double date) {
  return Wait{.result = 0, .date = date};
}

void WriteAll(int fd, const std::string& text) {
  for (size_t done = 0; done < text.size();) {
    ssize_t written = write(fd, text.data() + done, text.size() - done);
    if (written <= 0)
      return;
    done += static_cast<size_t>(written);
  }
}

// Runs the task on `script` in a child process. Returns the transcript with
// the log lines in their place, whether the task left its file open, and the
// task's status.
std::string Play(const Script& script, bool log) {
  int pipe_fds[2];
  if (pipe(pipe_fds) != 0)
    return "no pipe";
  pid_t child = qbfa_test::StartChildProcess([&] {
    close(pipe_fds[0]);
    scripted::Load(script);
    gLogStuff = log;
    hookwright::SetLogSink([](std::string_view bytes) { scripted::Transcript() += bytes; });
    FSRef file;
    OSStatus status = QBFA_KernelQueueThreadIgnoreMeInCrashLogsCommaOkayQuestionMark(&file);
    std::string& transcript = scripted::Transcript();
    int registered = scripted::RegisteredDescriptor();
    if (registered >= 0 && fcntl(registered, F_GETFD) != -1)
      transcript += "file left open\n";
    transcript += "status " + std::to_string(status) + "\n";
    WriteAll(pipe_fds[1], transcript);
    return 0;
  });
  close(pipe_fds[1]);
  std::string transcript;
  char buffer[4096];
  for (ssize_t got; (got = read(pipe_fds[0], buffer, sizeof buffer)) > 0;)
    transcript.append(buffer, static_cast<size_t>(got));
  close(pipe_fds[0]);
  EXPECT_EQ(qbfa_test::WaitForChildProcess(child), 0);
  return transcript;
}

class WatcherTask : public testing::Test {
 protected:
  void SetUp() override {
    char name[] = "/tmp/qbfa-watched-XXXXXX";
    int fd = mkstemp(name);
    ASSERT_GE(fd, 0);
    close(fd);
    path_ = name;
  }
  void TearDown() override { unlink(path_.c_str()); }

  Script Watching(std::vector<Wait> waits) const {
    return Script{.path = path_, .waits = std::move(waits)};
  }

  std::string path_;
};

TEST_F(WatcherTask, NewerDatesAreHandedToTheMainThreadOnce) {
  struct Case {
    const char* what;
    std::vector<Wait> waits;
    std::string expected;
  };
  const std::string call = "remote call\n";
  const Case cases[] = {
      {"two events with one date", {Event(kWrite, 10), Event(kGrowingWrite, 10)}, call},
      {"an older date, then the newest again",
       {Event(kWrite, 10), Event(kWrite, 9.5), Event(kWrite, 10), Event(kWrite, 10.25)},
       call + call},
      {"dates are compared with their fractions",
       {Event(kWrite, 10.000000001), Event(kWrite, 10.000000002)},
       call + call},
      {"timeouts before the first event look at nothing",
       {Timeout(10), Timeout(11), Event(kWrite, 11)},
       call},
      {"after the first event each timeout checks the date again",
       {Event(kWrite, 10), Timeout(10), Timeout(20), Timeout(20), Timeout(30)},
       call + call + call},
      {"dates before 2001 count only once they pass 0.0",
       {Event(kWrite, -100), Event(kWrite, -0.5), Event(kWrite, 0.0), Event(kWrite, 0.5)},
       call},
      {"a date that cannot be read leaves the event for the next check",
       {Wait{.event = kWrite, .date = 10, .catalog = fnfErr},
        Wait{.event = kWrite, .date = 10, .conversion = paramErr}, Timeout(10)},
       call},
      {"an event record with only the error flag ends the watch",
       {Wait{.event = kError, .date = 10}, Event(kWrite, 20)},
       ""},
      {"the error flag among others does not", {Event(kErrorAmongFlags, 10)}, call},
      {"a stop ends the watch before the event is looked at",
       {Wait{.event = kWrite, .date = 10, .stop = true}},
       ""},
      {"a failed wait ends the watch",
       {Event(kWrite, 10), Wait{.result = -1}, Event(kWrite, 20)},
       call},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(Play(Watching(c.waits), false), c.expected + "status 0\n");
  }
}

TEST_F(WatcherTask, LogsTheDatesBeforeTheCallAndTheEventAfterIt) {
  std::string transcript =
      Play(Watching({Event(kWrite, 10.5), Timeout(10.5), Timeout(12.25)}), true);
  const std::string dump =
      "[QB] \tident=5, filter=EVFILT_VNODE, flags=0x0021 (EV_ADD | EV_CLEAR), "
      "fflags=0x00000002 (NOTE_WRITE)\n\tdata = 0, udata = 0x00000000\n\n";
  EXPECT_EQ(transcript, "[QB] 0.000000 vs 10.500000\nremote call\n" + dump +
                            "[QB] 10.500000 vs 12.250000\nremote call\n" + dump + "status 0\n");
}

TEST_F(WatcherTask, EndsWithTheStatusOfItsLastStep) {
  struct Case {
    const char* what;
    Script script;
    bool log;
    std::string expected;
  };
  Script no_path{.make_path = fnfErr, .waits = {Event(kWrite, 10)}};
  Script no_queue = Watching({Event(kWrite, 10)});
  no_queue.queue = 0;
  Script failed_queue = Watching({Event(kWrite, 10)});
  failed_queue.queue = -1;
  Script no_file = Watching({Event(kWrite, 10)});
  no_file.path = path_ + "-missing";
  const Case cases[] = {
      {"no path for the file", no_path, false,
       "[QB] Could not turn file into path because error -43 occurred\nstatus -43\n"},
      {"a queue numbered 0 ends the task quietly", no_queue, true, "status 0\n"},
      {"a failed queue is used and its first wait fails", failed_queue, true, "status 0\n"},
      {"the file cannot be opened", no_file, false,
       "[QB] Could not open file descriptor for " + no_file.path +
           " because error -1 happened. Bad Day.\nstatus 0\n"},
      {"the last date read failed",
       Watching({Wait{.event = kWrite, .date = 10, .catalog = fnfErr}}), false, "status -43\n"},
      {"the last conversion failed",
       Watching({Event(kWrite, 10), Wait{.event = kWrite, .date = 11, .conversion = paramErr}}),
       false, "remote call\nstatus -50\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(Play(c.script, c.log), c.expected);
  }
}

}  // namespace
