// What tests of the watcher need around a watched file: whether the watcher
// is listening yet, how it logs the file's date, and file dates that move on.
#ifndef TESTS_SUPPORT_WATCHED_FILE_H_
#define TESTS_SUPPORT_WATCHED_FILE_H_

#include <sys/types.h>
#include <time.h>

#include <chrono>
#include <string>

namespace qbfa_test {

// Waits until process `pid` (0: this one) has at least `count` inotify
// watches: the kernel queue adds one when a file is registered, and a change
// made before that goes unseen. False when `patience` ran out first.
bool WaitForInotifyWatches(pid_t pid, int count, std::chrono::milliseconds patience);

// The file's content date as the watcher logs it: "%f" of the seconds since
// 1 January 2001 GMT.
std::string WatcherLoggedDate(const std::string& path);

// Waits until a file written now in `folder` gets a content date later than
// `date`. Dates move in coarse steps, and the watcher acts on a later date
// only, so a test waits for this before each change it wants seen.
void AwaitFileClockPast(const std::string& folder, const struct timespec& date);

}  // namespace qbfa_test

#endif  // TESTS_SUPPORT_WATCHED_FILE_H_
