// The watcher on the real platform: a task thread, a kernel queue on a real
// file and remote calls onto a main run loop running on its own thread. The
// main thread's side is a recorder here; the refresh has tests of its own.
#include "watch/watcher.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <future>
#include <mutex>
#include <string>
#include <thread>

#include "hookwright/log.h"
#include "hookwright/main_thread.h"
#include "platform/task.h"
#include "state.h"
#include "tests/support/watched_file.h"
#include "watch/refresh.h"

namespace {

using hookwright::MainRunLoop;
namespace fs = std::filesystem;

// Long enough for any machine; reaching it means the awaited thing never
// happens.
constexpr auto kPatience = std::chrono::seconds(60);

// What reached the main thread through the remote call.
struct MainThreadSide {
  std::mutex mutex;
  int calls = 0;
  bool all_on_main = true;
};

MainThreadSide& Side() {
  static MainThreadSide side;
  return side;
}

// Thread-safe log capture that can be waited on.
class LogWatch {
 public:
  LogWatch() {
    previous_ = hookwright::SetLogSink([this](std::string_view bytes) {
      std::lock_guard lock(mutex_);
      text_ += bytes;
      changed_.notify_all();
    });
  }
  ~LogWatch() { hookwright::SetLogSink(previous_); }

  // Waits until the log holds `text`; true when it does.
  bool WaitFor(const std::string& text) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, kPatience,
                             [&] { return text_.find(text) != std::string::npos; });
  }

  std::string Text() {
    std::lock_guard lock(mutex_);
    return text_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::string text_;
  hookwright::LogSink previous_;
};

int OpenDescriptorCount() {
  int count = 0;
  for ([[maybe_unused]] const auto& entry : fs::directory_iterator("/proc/self/fd"))
    ++count;
  return count;
}

class Watcher : public testing::Test {
 protected:
  void SetUp() override {
    char name[] = "/tmp/qbfa-watcher-XXXXXX";
    ASSERT_NE(mkdtemp(name), nullptr);
    dir_ = name;
    path_ = dir_ + "/FontAgent.db";
    AppendToFile(path_);
    gLogStuff = true;
    std::promise<void> running;
    MainRunLoop().Post([&running] { running.set_value(); });
    main_thread_ = std::thread([] { MainRunLoop().Run(); });
    running.get_future().wait();
  }

  void TearDown() override {
    QBFA_StopWatcher();
    EXPECT_EQ(UnjoinedTaskCount(), 0u);
    MainRunLoop().Stop();
    main_thread_.join();
    gLogStuff = false;
    fs::remove_all(dir_);
  }

  OSStatus Start(const std::string& path) {
    return QBFA_RegisterKQueueForFile(cf::URL::CreateWithFileSystemPath(path).get());
  }

  // Starts watching `path` and waits until the task has registered it: a
  // change made before that goes unseen.
  void StartListening(const std::string& path) {
    ASSERT_EQ(Start(path), noErr);
    ASSERT_TRUE(qbfa_test::WaitForInotifyWatches(0, 1, kPatience));
  }

  // Appends to `path` with a content date later than any earlier append of
  // the process.
  static void AppendToFile(const std::string& path) {
    static struct timespec newest = {};
    qbfa_test::AwaitFileClockPast(fs::path(path).parent_path(), newest);
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(write(fd, "rows", 4), 4);
    close(fd);
    struct stat now;
    ASSERT_EQ(stat(path.c_str(), &now), 0);
    newest = now.st_mtim;
  }

  static int Calls() {
    std::lock_guard lock(Side().mutex);
    return Side().calls;
  }

  std::string dir_;
  std::string path_;
  std::thread main_thread_;
  LogWatch log_;
};

TEST_F(Watcher, StartRefusesWhatItCannotWatch) {
  EXPECT_EQ(QBFA_RegisterKQueueForFile(nullptr), paramErr);
  EXPECT_EQ(Start(dir_ + "/missing.db"), fnfErr);
  EXPECT_EQ(UnjoinedTaskCount(), 0u);
}

TEST_F(Watcher, AWriteReachesTheMainThreadWithTheFilesDate) {
  const int before = Calls();
  StartListening(path_);
  AppendToFile(path_);
  const std::string dump =
      "filter=EVFILT_VNODE, flags=0x0021 (EV_ADD | EV_CLEAR), fflags=0x00000006 (NOTE_WRITE | "
      "NOTE_EXTEND)\n\tdata = 0, udata = 0x00000000\n\n";
  ASSERT_TRUE(log_.WaitFor(" vs " + qbfa_test::WatcherLoggedDate(path_) + "\n")) << log_.Text();
  ASSERT_TRUE(log_.WaitFor(dump)) << log_.Text();
  std::lock_guard lock(Side().mutex);
  EXPECT_EQ(Side().calls, before + 1);
  EXPECT_TRUE(Side().all_on_main);
}

TEST_F(Watcher, FollowsTheFileThroughARename) {
  StartListening(path_);
  const std::string moved = dir_ + "/moved.db";
  ASSERT_EQ(rename(path_.c_str(), moved.c_str()), 0);
  AppendToFile(moved);
  EXPECT_TRUE(log_.WaitFor(" vs " + qbfa_test::WatcherLoggedDate(moved) + "\n")) << log_.Text();
}

TEST_F(Watcher, StopEndsTheTaskAndReleasesWhatItHeld) {
  const int descriptors = OpenDescriptorCount();
  // Stops at every stage of the task's start, the earliest ones included.
  for (int round = 0; round < 20; ++round) {
    ASSERT_EQ(Start(path_), noErr);
    QBFA_StopWatcher();
    EXPECT_EQ(UnjoinedTaskCount(), 0u);
    EXPECT_EQ(OpenDescriptorCount(), descriptors);
  }
  // And once the task is surely waiting, after a handover.
  StartListening(path_);
  AppendToFile(path_);
  ASSERT_TRUE(log_.WaitFor(" vs " + qbfa_test::WatcherLoggedDate(path_) + "\n")) << log_.Text();
  QBFA_StopWatcher();
  EXPECT_EQ(UnjoinedTaskCount(), 0u);
  EXPECT_EQ(OpenDescriptorCount(), descriptors);
}

TEST_F(Watcher, StopCancelsAHandoverTheMainThreadHasNotTaken) {
  std::promise<void> release;
  MainRunLoop().Post([opened = release.get_future().share()] { opened.wait(); });
  const int before = Calls();
  StartListening(path_);
  AppendToFile(path_);
  // Logged just before the task hands over and blocks.
  ASSERT_TRUE(log_.WaitFor(" vs " + qbfa_test::WatcherLoggedDate(path_) + "\n")) << log_.Text();
  QBFA_StopWatcher();
  EXPECT_EQ(UnjoinedTaskCount(), 0u);
  release.set_value();
  // The loop runs what is queued in order; this runs after anything the
  // cancelled call might still have done.
  ASSERT_TRUE(hookwright::RunOnMainThreadAndWait([] {}));
  EXPECT_EQ(Calls(), before);
}

}  // namespace

// The main thread's side of the handover, recorded.
void* QBFA_CheckDatabaseForUpdatedSets(void*) {
  std::lock_guard lock(Side().mutex);
  ++Side().calls;
  Side().all_on_main = Side().all_on_main && hookwright::IsMainThread();
  return nullptr;
}
