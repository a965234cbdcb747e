#include "tests/watch/inotify_watches.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
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

}  // namespace qbfa_test
