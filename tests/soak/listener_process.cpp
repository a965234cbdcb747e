#include "tests/soak/listener_process.h"

#include <algorithm>
#include <fstream>
#include <iterator>

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
    : errors_(std::move(errors)),
      process_(
          {qbfa, "sets", "--follow", "--format", "xml"}, {STDOUT_FILENO, errors_},
          [this](std::string_view bytes) { Take(bytes); }, [this] { End(); }) {}

void ListenerProcess::Take(std::string_view bytes) {
  std::vector<std::string> complete = splitter_.Add(bytes);
  if (complete.empty())
    return;
  std::lock_guard lock(mutex_);
  for (std::string& publication : complete)
    publications_.push_back(std::move(publication));
  arrived_.notify_all();
}

void ListenerProcess::End() {
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
