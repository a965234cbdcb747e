#include "tests/support/session_bus.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace qbfa_test {
namespace {

// The daemon prints its address once it listens; this long is surely hung.
constexpr int kStartTimeoutMs = 20000;

std::string Configuration(const std::string& socket_path) {
  return "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
         " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
         "<busconfig>\n"
         "  <type>session</type>\n"
         "  <listen>unix:path=" +
         socket_path +
         "</listen>\n"
         "  <auth>EXTERNAL</auth>\n"
         "  <policy context=\"default\">\n"
         "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
         "    <allow eavesdrop=\"true\"/>\n"
         "    <allow own=\"*\"/>\n"
         "  </policy>\n"
         // A desktop's session bus lifts the daemon's low default limits
         // (its session.conf); calls in flight matter to the tests.
         "  <limit name=\"max_replies_per_connection\">50000</limit>\n"
         "  <limit name=\"max_match_rules_per_connection\">50000</limit>\n"
         "</busconfig>\n";
}

// Reads the first line the daemon prints, waiting at most kStartTimeoutMs.
std::string ReadFirstLine(int fd) {
  std::string line;
  char c;
  while (line.empty() || line.back() != '\n') {
    pollfd ready{fd, POLLIN, 0};
    int polled = poll(&ready, 1, kStartTimeoutMs);
    if (polled < 0 && errno == EINTR)
      continue;
    if (polled <= 0)
      return {};
    ssize_t got = read(fd, &c, 1);
    if (got < 0 && errno == EINTR)
      continue;
    if (got <= 0)
      return {};
    line.push_back(c);
  }
  line.pop_back();
  return line;
}

}  // namespace

PrivateSessionBus::PrivateSessionBus() {
  std::string pattern = "/tmp/qbfa-test-bus-XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr) {
    error_ = "cannot create a temporary directory";
    return;
  }
  directory_ = pattern;
  Start();
}

void PrivateSessionBus::Start() {
  const std::string config_path = directory_ + "/session.conf";
  std::ofstream(config_path) << Configuration(directory_ + "/bus");
  const std::string config_option = "--config-file=" + config_path;

  int pipe_fds[2];
  if (pipe2(pipe_fds, O_CLOEXEC) != 0) {
    error_ = "cannot create a pipe";
    return;
  }
  // The daemon's complaints (it cannot raise its descriptor limit, say) go
  // to a file, read only when it fails to start.
  const std::string log_path = directory_ + "/daemon.log";
  int log = open(log_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  pid_t parent = getpid();
  pid_t child = fork();
  if (child == 0) {
    // Only async-signal-safe calls between fork and exec.
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent)
      _exit(127);
    dup2(pipe_fds[1], STDOUT_FILENO);
    if (log >= 0)
      dup2(log, STDERR_FILENO);
    execlp("dbus-daemon", "dbus-daemon", config_option.c_str(), "--print-address", "--nofork",
           static_cast<char*>(nullptr));
    _exit(127);
  }
  close(pipe_fds[1]);
  if (log >= 0)
    close(log);
  if (child < 0) {
    close(pipe_fds[0]);
    error_ = "cannot fork";
    return;
  }
  daemon_ = child;
  address_ = ReadFirstLine(pipe_fds[0]);
  close(pipe_fds[0]);
  if (address_.empty()) {
    Stop();
    std::ifstream complaints(log_path);
    std::string said((std::istreambuf_iterator<char>(complaints)),
                     std::istreambuf_iterator<char>());
    error_ = "dbus-daemon did not start (is the dbus-daemon package installed?) " + said;
    return;
  }
  address_variable_.emplace("DBUS_SESSION_BUS_ADDRESS", address_);
}

void PrivateSessionBus::Stop() {
  if (daemon_ <= 0)
    return;
  kill(daemon_, SIGTERM);
  while (waitpid(daemon_, nullptr, 0) < 0 && errno == EINTR) {
  }
  daemon_ = -1;
}

PrivateSessionBus::~PrivateSessionBus() {
  Stop();
  address_variable_.reset();
  if (!directory_.empty()) {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }
}

}  // namespace qbfa_test
