// Whether a process has an inotify watch in place: the kernel queue adds one
// when a file is registered, so a test can wait for a watcher to be listening
// before it changes the file.
#ifndef TESTS_WATCH_INOTIFY_WATCHES_H_
#define TESTS_WATCH_INOTIFY_WATCHES_H_

#include <sys/types.h>

#include <chrono>

namespace qbfa_test {

// Waits until process `pid` (0: this one) has at least `count` inotify
// watches; false when `patience` ran out first.
bool WaitForInotifyWatches(pid_t pid, int count, std::chrono::milliseconds patience);

}  // namespace qbfa_test

#endif  // TESTS_WATCH_INOTIFY_WATCHES_H_
