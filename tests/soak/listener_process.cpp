#include "tests/soak/listener_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "tests/soak/publication_splitter.h"

namespace qbfa_soak {
namespace {

constexpr std::string_view kNothingPublished = "nothing has been published on the pasteboard";

}  // namespace

ListenerComplaints ReadComplaints(std::string_view errors) {
  ListenerComplaints complaints;
  while (!errors.empty()) {
    const size_t end = std::min(errors.find('\n'), errors.size());
    const std::string_view line = errors.substr(0, end);
    errors.remove_prefix(std::min(end + 1, errors.size()));
    if (line.find(kNothingPublished) == std::string_view::npos) {
      complaints.others += std::string(line) + "\n";
    } else if (complaints.subscribed) {
      ++complaints.empty_reads;
    } else {
      complaints.subscribed = true;
    }
  }
  return complaints;
}

ListenerProcess::ListenerProcess(const std::string& qbfa, std::string errors)
    : errors_(std::move(errors)) {
  int output[2];
  if (pipe2(output, O_CLOEXEC) != 0)
    throw std::runtime_error("cannot create a pipe for the listener's output");
  const pid_t parent = getpid();
  pid_ = fork();
  if (pid_ == 0) {
    // Only async-signal-safe calls between fork and exec.
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent)
      _exit(127);
    const int null = open("/dev/null", O_RDONLY);
    const int error = open(errors_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (null < 0 || error < 0 || dup2(null, STDIN_FILENO) < 0 ||
        dup2(output[1], STDOUT_FILENO) < 0 || dup2(error, STDERR_FILENO) < 0) {
      _exit(127);
    }
    execl(qbfa.c_str(), qbfa.c_str(), "sets", "--follow", "--format", "xml",
          static_cast<char*>(nullptr));
    _exit(127);
  }
  close(output[1]);
  if (pid_ < 0) {
    close(output[0]);
    throw std::runtime_error("cannot fork the listener");
  }
  reader_ = std::thread([this, fd = output[0]] { ReadOutput(fd); });
}

ListenerProcess::~ListenerProcess() {
  Stop();
}

void ListenerProcess::Stop() {
  if (!reader_.joinable())
    return;
  kill(pid_, SIGTERM);
  while (waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
  }
  reader_.join();
}

void ListenerProcess::ReadOutput(int fd) {
  PublicationSplitter splitter;
  char buffer[1 << 16];
  for (;;) {
    const ssize_t got = read(fd, buffer, sizeof buffer);
    if (got < 0 && errno == EINTR)
      continue;
    if (got <= 0)
      break;
    std::vector<std::string> complete = splitter.Add({buffer, static_cast<size_t>(got)});
    if (complete.empty())
      continue;
    std::lock_guard lock(mutex_);
    for (std::string& publication : complete)
      publications_.push_back(std::move(publication));
    arrived_.notify_all();
  }
  close(fd);
  std::lock_guard lock(mutex_);
  ended_ = true;
  arrived_.notify_all();
}

std::optional<std::string> ListenerProcess::Next(std::chrono::steady_clock::time_point deadline) {
  std::unique_lock lock(mutex_);
  arrived_.wait_until(lock, deadline, [this] { return !publications_.empty() || ended_; });
  if (publications_.empty())
    return std::nullopt;
  std::string next = std::move(publications_.front());
  publications_.pop_front();
  return next;
}

std::string ListenerProcess::Errors() const {
  std::ifstream file(errors_, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

bool ListenerProcess::Running() const {
  std::lock_guard lock(mutex_);
  return !ended_;
}

}  // namespace qbfa_soak
