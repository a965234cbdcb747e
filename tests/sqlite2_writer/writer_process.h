// A 2.8 writer running in a child process, driven one step at a time.
//
// POSIX record locks belong to a process: a lock this process takes never
// blocks this process's own reads, and closing any descriptor of the file
// here would drop the locks a reader here holds. So a writer that a reader
// must really contend with runs in a child of its own, which opens the file
// itself after the fork.
#ifndef TESTS_SQLITE2_WRITER_WRITER_PROCESS_H_
#define TESTS_SQLITE2_WRITER_WRITER_PROCESS_H_

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "sqlite2/status.h"
#include "tests/sqlite2_writer/journaled_rewrite.h"

namespace sqlite2::writer {

class WriterProcess {
 public:
  enum class Step : uint8_t { kLock, kWriteJournal, kWritePages, kDeleteJournal, kUnlock };

  // Forks the child, which opens `path` and waits for steps.
  static Status Start(const std::string& path, std::vector<uint8_t> new_image,
                      JournalOptions options, std::unique_ptr<WriterProcess>* out);
  // Ends the child as Crash() does if it is still running.
  ~WriterProcess();
  WriterProcess(const WriterProcess&) = delete;
  WriterProcess& operator=(const WriterProcess&) = delete;

  // Runs `step` in the child (JournaledRewrite's step of the same name) and
  // returns its outcome. kWritePages writes at most `page_limit` pages.
  Status Run(Step step, size_t page_limit = SIZE_MAX);
  // Runs every step, as a writer that commits does.
  Status Commit();
  // Kills the child at once, as a crash would: its lock goes with it and
  // any journal it wrote stays behind, hot.
  void Crash();

 private:
  WriterProcess(pid_t pid, int channel) : pid_(pid), channel_(channel) {}

  pid_t pid_;
  int channel_;  // a socket to the child: steps go down, outcomes come up
};

// Starts changing the database at `path` into `new_image` the way a 2.8
// writer that dies after writing `pages_written` pages in place does: the
// file is left part old, part new, and its hot journal holds what is needed
// to give back the committed state.
Status CrashMidCommit(const std::string& path, std::vector<uint8_t> new_image, size_t pages_written,
                      JournalOptions options = {});

}  // namespace sqlite2::writer

#endif  // TESTS_SQLITE2_WRITER_WRITER_PROCESS_H_
