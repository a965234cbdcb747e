// The set trees of the database's committed states, as the plug-in reads
// them (the XML it publishes), and which of them each publication is.
//
// The host reads the database under a shared lock at each refresh, so it
// reads a committed state, never later than the newest one; and each
// refresh reads a state no older than the one before. So publications go
// forward through the states, and a state older than the last one published
// can never be published again: it is let go of, which keeps the states of
// an hours-long soak from piling up.
#ifndef TESTS_SOAK_COMMITTED_STATES_H_
#define TESTS_SOAK_COMMITTED_STATES_H_

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <string_view>

namespace qbfa_soak {

class CommittedStates {
 public:
  // Adds the tree of the next state, before it is committed: the host may
  // read it the moment the writer lets go of its lock. Its number, from 0.
  size_t Add(std::string xml);

  // The number of the state `publication` is: the oldest that is equal to
  // it, from the state last matched on. Nothing when it is none of those.
  std::optional<size_t> Match(std::string_view publication);

  size_t count() const { return first_kept_ + states_.size(); }
  // The tree of the state added last; call after Add.
  const std::string& newest() const { return states_.back(); }
  // States still held: not yet passed by a publication.
  size_t kept() const { return states_.size(); }

 private:
  std::deque<std::string> states_;
  size_t first_kept_ = 0;  // the number of states_.front()
};

}  // namespace qbfa_soak

#endif  // TESTS_SOAK_COMMITTED_STATES_H_
