#include "tests/support/logged_host.h"

#include <algorithm>
#include <stdexcept>

namespace qbfa_test {
namespace {

// Long enough for a refresh of 80,000 fonts on a loaded machine.
constexpr std::chrono::seconds kPatience(60);

}  // namespace

LoggedHost::LoggedHost(const std::string& qbfa)
    : process_(
          {qbfa, "host"}, {}, [this](std::string_view bytes) { Take(bytes); }, [this] { End(); }) {}

void LoggedHost::Take(std::string_view bytes) {
  const Clock::time_point now = Clock::now();
  pending_.append(bytes);
  std::lock_guard lock(mutex_);
  size_t start = 0;
  for (size_t end; (end = pending_.find('\n', start)) != std::string::npos; start = end + 1)
    lines_.push_back({forgotten_ + lines_.size(), now, pending_.substr(start, end - start)});
  pending_.erase(0, start);
  arrived_.notify_all();
}

void LoggedHost::End() {
  std::lock_guard lock(mutex_);
  ended_ = true;
  arrived_.notify_all();
}

size_t LoggedHost::LineCount() const {
  std::lock_guard lock(mutex_);
  return forgotten_ + lines_.size();
}

LoggedHost::Line LoggedHost::Await(std::string_view text, size_t from) const {
  std::unique_lock lock(mutex_);
  const Clock::time_point deadline = Clock::now() + kPatience;
  for (size_t next = std::max(from, forgotten_);;) {
    for (; next < forgotten_ + lines_.size(); ++next) {
      const Line& line = lines_[next - forgotten_];
      if (line.text.find(text) != std::string::npos)
        return line;
    }
    if (ended_ || Clock::now() >= deadline)
      break;
    arrived_.wait_until(lock, deadline);
  }
  throw std::runtime_error("the host did not log \"" + std::string(text) + "\"" +
                           (ended_ ? " before it ended" : "") + "; its last lines:\n" + Tail());
}

std::vector<LoggedHost::Line> LoggedHost::Since(size_t from) const {
  std::lock_guard lock(mutex_);
  const size_t skip = std::min(from > forgotten_ ? from - forgotten_ : 0, lines_.size());
  return std::vector<Line>(lines_.begin() + static_cast<ptrdiff_t>(skip), lines_.end());
}

void LoggedHost::Forget(size_t index) {
  std::lock_guard lock(mutex_);
  for (; forgotten_ < index && !lines_.empty(); ++forgotten_)
    lines_.pop_front();
}

std::string LoggedHost::Tail() const {
  std::string tail;
  for (size_t i = lines_.size() > 20 ? lines_.size() - 20 : 0; i < lines_.size(); ++i)
    tail += lines_[i].text + "\n";
  return tail;
}

}  // namespace qbfa_test
