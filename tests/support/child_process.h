// Running a piece of a test in another process.
#ifndef TESTS_SUPPORT_CHILD_PROCESS_H_
#define TESTS_SUPPORT_CHILD_PROCESS_H_

#include <sys/types.h>

#include <functional>

namespace qbfa_test {

// Forks; the child runs `body` and exits with its result without running
// destructors or test teardown. The body should keep to plain calls: a lock
// that another thread of the parent held at the fork stays locked in the
// child.
pid_t StartChildProcess(const std::function<int()>& body);

// Waits for a child and returns its exit code; -1 when it did not exit
// normally (a crash or a signal).
int WaitForChildProcess(pid_t child);

// Both at once: the body's result, or -1.
int RunInChildProcess(const std::function<int()>& body);

}  // namespace qbfa_test

#endif  // TESTS_SUPPORT_CHILD_PROCESS_H_
