#include "tests/support/watched_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <thread>

namespace qbfa_test {
namespace {

namespace fs = std::filesystem;

// Counts the watches of every inotify descriptor of the process: each one is
// a line "inotify wd:..." in the descriptor's fdinfo.
int InotifyWatchCount(const std::string& process) {
  int count = 0;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(process + "/fd", error)) {
    std::error_code unreadable;
    if (fs::read_symlink(entry.path(), unreadable).string() != "anon_inode:inotify")
      continue;
    std::ifstream info(process + "/fdinfo/" + entry.path().filename().string());
    for (std::string line; std::getline(info, line);) {
      if (line.starts_with("inotify wd:"))
        ++count;
    }
  }
  return count;
}

bool Later(const struct timespec& a, const struct timespec& b) {
  return a.tv_sec > b.tv_sec || (a.tv_sec == b.tv_sec && a.tv_nsec > b.tv_nsec);
}

}  // namespace

bool WaitForInotifyWatches(pid_t pid, int count, std::chrono::milliseconds patience) {
  const std::string process = "/proc/" + (pid == 0 ? std::string("self") : std::to_string(pid));
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (InotifyWatchCount(process) < count) {
    if (std::chrono::steady_clock::now() > deadline)
      return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

std::string WatcherLoggedDate(const std::string& path) {
  struct stat status;
  if (stat(path.c_str(), &status) != 0)
    return "(no file)";
  constexpr int64_t kUnixTo2001 = 978307200;
  double seconds = static_cast<double>(status.st_mtim.tv_sec - kUnixTo2001) +
                   static_cast<double>(status.st_mtim.tv_nsec) / 1e9;
  char text[64];
  std::snprintf(text, sizeof text, "%f", seconds);
  return text;
}

void AwaitFileClockPast(const std::string& folder, const struct timespec& date) {
  const std::string clock = folder + "/.clock";
  struct stat now = {};
  do {
    close(open(clock.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600));
    if (stat(clock.c_str(), &now) != 0)
      break;
  } while (!Later(now.st_mtim, date));
  unlink(clock.c_str());
}

}  // namespace qbfa_test
