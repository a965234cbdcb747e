#include "tests/soak/publication_splitter.h"

namespace qbfa_soak {
namespace {

constexpr std::string_view kEnd = "</plist>\n";

}  // namespace

std::vector<std::string> PublicationSplitter::Add(std::string_view bytes) {
  // The end may straddle the bytes before and these: look from where it
  // could begin.
  size_t from = pending_.size() >= kEnd.size() ? pending_.size() - kEnd.size() + 1 : 0;
  pending_.append(bytes);
  std::vector<std::string> complete;
  size_t start = 0;
  for (size_t end; (end = pending_.find(kEnd, from)) != std::string::npos;) {
    complete.push_back(pending_.substr(start, end + kEnd.size() - start));
    start = from = end + kEnd.size();
  }
  pending_.erase(0, start);
  return complete;
}

}  // namespace qbfa_soak
