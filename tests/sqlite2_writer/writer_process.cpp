#include "tests/sqlite2_writer/writer_process.h"

#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tests/sqlite2_writer/transfer_all.h"

namespace sqlite2::writer {
namespace {

// Parent to child: the step and its page limit. Child to parent: the
// outcome's code, message length and message.
struct Command {
  WriterProcess::Step step;
  uint64_t page_limit;
};
struct Reply {
  int32_t rc;
  uint32_t message_size;
};

bool ReadExactly(int fd, void* buffer, size_t size) {
  auto* bytes = static_cast<uint8_t*>(buffer);
  return TransferAll(
      size, [&](size_t done, size_t remaining) { return read(fd, bytes + done, remaining); });
}

// send() rather than write(), so that a peer that has gone away gives an
// error instead of a SIGPIPE that would end this process.
bool WriteExactly(int fd, const void* buffer, size_t size) {
  const auto* bytes = static_cast<const uint8_t*>(buffer);
  return TransferAll(size, [&](size_t done, size_t remaining) {
    return send(fd, bytes + done, remaining, MSG_NOSIGNAL);
  });
}

Status RunStep(JournaledRewrite& rewrite, const Command& command) {
  switch (command.step) {
    case WriterProcess::Step::kLock:
      return rewrite.Lock();
    case WriterProcess::Step::kWriteJournal:
      return rewrite.WriteJournal();
    case WriterProcess::Step::kWritePages:
      return rewrite.WritePages(static_cast<size_t>(command.page_limit));
    case WriterProcess::Step::kDeleteJournal:
      return rewrite.DeleteJournal();
    case WriterProcess::Step::kUnlock:
      return rewrite.Unlock();
  }
  return Status::Error(SQLITE_MISUSE, "unknown step");
}

void SendReply(int fd, const Status& status) {
  const Reply reply = {status.rc, static_cast<uint32_t>(status.message().size())};
  if (!WriteExactly(fd, &reply, sizeof reply) ||
      !WriteExactly(fd, status.message().data(), status.message().size())) {
    _exit(1);
  }
}

// The child's whole life. It leaves through _exit so that nothing the parent
// registered to run at exit (test reports, leak checks) runs twice.
[[noreturn]] void ServeSteps(const std::string& path, std::vector<uint8_t> new_image,
                             JournalOptions options, int parent) {
  std::unique_ptr<JournaledRewrite> rewrite;
  const Status opened = JournaledRewrite::Open(path, std::move(new_image), options, &rewrite);
  SendReply(parent, opened);
  if (!opened.ok())
    _exit(1);
  Command command;
  while (ReadExactly(parent, &command, sizeof command)) {
    SendReply(parent, RunStep(*rewrite, command));
  }
  // The parent is gone: end like a crashed writer, journal and all.
  _exit(0);
}

Status ReadReply(int fd) {
  Reply reply;
  if (!ReadExactly(fd, &reply, sizeof reply)) {
    return Status::Error(SQLITE_ERROR, "the writer process has ended");
  }
  std::string message(reply.message_size, '\0');
  if (!ReadExactly(fd, message.data(), message.size())) {
    return Status::Error(SQLITE_ERROR, "the writer process has ended");
  }
  return Status::Error(reply.rc, std::move(message));
}

}  // namespace

Status WriterProcess::Start(const std::string& path, std::vector<uint8_t> new_image,
                            JournalOptions options, std::unique_ptr<WriterProcess>* out) {
  int channel[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, channel) != 0) {
    return Status::Error(SQLITE_IOERR, std::string("socketpair: ") + std::strerror(errno));
  }
  const pid_t pid = fork();
  if (pid == 0) {
    close(channel[0]);
    ServeSteps(path, std::move(new_image), options, channel[1]);
  }
  close(channel[1]);
  if (pid < 0) {
    const Status status = Status::Error(SQLITE_IOERR, std::string("fork: ") + std::strerror(errno));
    close(channel[0]);
    return status;
  }
  out->reset(new WriterProcess(pid, channel[0]));
  return ReadReply(channel[0]);
}

WriterProcess::~WriterProcess() {
  Crash();
}

Status WriterProcess::Run(Step step, size_t page_limit) {
  if (pid_ <= 0)
    return Status::Error(SQLITE_MISUSE, "the writer process has ended");
  const Command command = {step, page_limit};
  if (!WriteExactly(channel_, &command, sizeof command)) {
    return Status::Error(SQLITE_ERROR, "the writer process has ended");
  }
  return ReadReply(channel_);
}

Status WriterProcess::Commit() {
  for (Step step :
       {Step::kLock, Step::kWriteJournal, Step::kWritePages, Step::kDeleteJournal, Step::kUnlock}) {
    if (Status status = Run(step); !status.ok())
      return status;
  }
  return Status::Ok();
}

void WriterProcess::Crash() {
  if (pid_ <= 0)
    return;
  kill(pid_, SIGKILL);
  while (waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
  }
  close(channel_);
  pid_ = 0;
}

Status CrashMidCommit(const std::string& path, std::vector<uint8_t> new_image, size_t pages_written,
                      JournalOptions options) {
  std::unique_ptr<WriterProcess> writer;
  Status status = WriterProcess::Start(path, std::move(new_image), options, &writer);
  if (status.ok())
    status = writer->Run(WriterProcess::Step::kLock);
  if (status.ok())
    status = writer->Run(WriterProcess::Step::kWriteJournal);
  if (status.ok())
    status = writer->Run(WriterProcess::Step::kWritePages, pages_written);
  return status;  // the writer dies with `writer`
}

}  // namespace sqlite2::writer
