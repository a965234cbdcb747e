// Reading beside a 2.8 writer in another process: the shared lock and how
// long it lasts, the bounded wait for a writer, hot journals left by
// writers that died, and a writer committing while reads run. No read ever
// changes the database or its journal.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "sqlite2/format/file_lock.h"
#include "sqlite2/sqlite.h"
#include "tests/sqlite2_writer/writer_process.h"
#include "tests/sqlite2/read_support.h"
#include "tests/sqlite2_writer/scratch_dir.h"

namespace sqlite2::testing {
namespace {

using writer::CrashMidCommit;
using writer::JournalOptions;
using writer::WriterProcess;
using writer::testing::ScratchDir;
using writer::testing::WriteBytes;
using Step = WriterProcess::Step;
using Lines = std::vector<std::string>;

sqlite* Open(const std::string& path) {
  char* error = nullptr;
  sqlite* db = sqlite_open(path.c_str(), 0, &error);
  EXPECT_NE(db, nullptr) << (error ? error : "");
  sqlite_freemem(error);
  return db;
}

// The rows and the outcome of one statement.
Lines Exec(sqlite* db, const char* sql) {
  Lines lines;
  char* error = nullptr;
  const int rc = sqlite_exec(
      db, sql,
      [](void* out, int, char** argv, char**) {
        static_cast<Lines*>(out)->push_back(argv[0] ? argv[0] : "NULL");
        return 0;
      },
      &lines, &error);
  lines.push_back("rc " + std::to_string(rc) + (error ? std::string(" ") + error : ""));
  sqlite_freemem(error);
  return lines;
}

// The committed state of `image`, read from a file of its own.
Lines CommittedState(const ScratchDir& dir, const std::vector<uint8_t>& image) {
  const std::string path = dir.File("committed.db");
  WriteBytes(path, image);
  return ReadEverything(path);
}

TEST(HotJournal, ReadsTheCommittedStateWhereverTheWriterDied) {
  const std::vector<uint8_t> before = FontImage(1, 120);
  using Count = JournalOptions::RecordCount;
  const struct {
    std::vector<uint8_t> after;  // what the writer was writing
    size_t pages_written;
    Count count;
  } kCases[] = {
      {FontImage(2, 300), 0, Count::kNotYetSynced},
      {FontImage(2, 300), 0, Count::kCounted},
      {FontImage(2, 300), 1, Count::kCounted},
      {FontImage(2, 300), 7, Count::kCounted},
      {FontImage(2, 300), SIZE_MAX, Count::kCounted},
      {FontImage(2, 300), 5, Count::kFromFileSize},
      // A smaller database: the journal holds the pages it cuts off.
      {FontImage(3, 20), 2, Count::kCounted},
      {FontImage(3, 20), SIZE_MAX, Count::kFromFileSize},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE("pages written " + std::to_string(c.pages_written) + ", record count mode " +
                 std::to_string(static_cast<int>(c.count)));
    ScratchDir dir;
    const std::string path = dir.File("fonts.db");
    WriteBytes(path, before);
    const Lines committed = CommittedState(dir, before);
    // A handle opened before the crash sees the same as one opened after.
    sqlite* db = Open(path);
    ASSERT_TRUE(CrashMidCommit(path, c.after, c.pages_written, {c.count, 0x1234}).ok());
    ASSERT_TRUE(std::filesystem::exists(path + "-journal"));
    const FileWitness database(path), journal(path + "-journal");
    EXPECT_EQ(ReadEverything(db), committed);
    EXPECT_EQ(ReadEverything(path), committed);
    sqlite_close(db);
    EXPECT_EQ(database.Changes(), "");
    EXPECT_EQ(journal.Changes(), "");
  }
}

TEST(HotJournal, AJournalThatCannotBeReadLocksTheDatabase) {
  ScratchDir dir;
  const std::string path = dir.File("fonts.db");
  WriteBytes(path, FontImage(1, 30));
  ASSERT_EQ(::mkdir((path + "-journal").c_str(), 0700), 0);
  const FileWitness database(path);
  // The open still succeeds; each statement fails until the journal goes.
  sqlite* db = Open(path);
  EXPECT_EQ(Exec(db, "SELECT name FROM sqlite_master;"), Lines{"rc 5 database is locked"});
  ::rmdir((path + "-journal").c_str());
  EXPECT_EQ(Exec(db, "SELECT name FROM sqlite_master;"),
            (Lines{"fonts", "rel", "rel_parent", "rc 0"}));
  sqlite_close(db);
  EXPECT_EQ(database.Changes(), "");
}

TEST(HotJournal, AJournalWithAnUnknownMagicIsLeftAlone) {
  ScratchDir dir;
  const std::string path = dir.File("fonts.db");
  WriteBytes(path, FontImage(1, 30));
  const Lines as_it_is = ReadEverything(path);
  WriteBytes(path + "-journal", std::vector<uint8_t>(5000, 0x5a));
  const FileWitness database(path), journal(path + "-journal");
  EXPECT_EQ(ReadEverything(path), as_it_is);
  EXPECT_EQ(database.Changes(), "");
  EXPECT_EQ(journal.Changes(), "");
}

TEST(Locking, AWritersLockMakesEveryStatementBusyUntilItCommits) {
  ScratchDir dir;
  const std::string path = dir.File("fonts.db");
  WriteBytes(path, FontImage(1, 40));
  const std::vector<uint8_t> after = FontImage(2, 50);
  std::unique_ptr<WriterProcess> writer;
  ASSERT_TRUE(WriterProcess::Start(path, after, {}, &writer).ok());

  sqlite* loaded = Open(path);  // its schema is read before the writer starts
  ASSERT_TRUE(writer->Run(Step::kLock).ok());
  // Opening while the writer works still succeeds, as with the library.
  sqlite* deferred = Open(path);
  for (Step step : {Step::kWriteJournal, Step::kWritePages}) {
    ASSERT_TRUE(writer->Run(step).ok());
    for (sqlite* db : {loaded, deferred}) {
      EXPECT_EQ(Exec(db, "SELECT name FROM fonts WHERE id = 1;"), Lines{"rc 5 database is locked"});
      EXPECT_EQ(ReadEverything(db), Lines{"rc 5 database is locked"});
    }
  }
  ASSERT_TRUE(writer->Run(Step::kDeleteJournal).ok());
  ASSERT_TRUE(writer->Run(Step::kUnlock).ok());
  const Lines committed = CommittedState(dir, after);
  EXPECT_EQ(ReadEverything(loaded), committed);
  EXPECT_EQ(ReadEverything(deferred), committed);
  sqlite_close(loaded);
  sqlite_close(deferred);
}

TEST(Locking, TheLockLastsUntilTheOutermostStatementEnds) {
  ScratchDir dir;
  const std::string path = dir.File("fonts.db");
  WriteBytes(path, FontImage(1, 40));
  std::unique_ptr<WriterProcess> writer;
  ASSERT_TRUE(WriterProcess::Start(path, FontImage(2, 40), {}, &writer).ok());
  sqlite* db = Open(path);
  struct Context {
    sqlite* db;
    const std::string& path;
    WriterProcess* writer;
    std::vector<int> writer_lock_results;
  } context{db, path, writer.get(), {}};
  const int rc = sqlite_exec(
      db, "SELECT id FROM fonts WHERE id < 3;",
      [](void* arg, int, char**, char**) {
        auto* c = static_cast<Context*>(arg);
        // A nested statement that starts and ends, and another descriptor
        // of the file opened and closed, leave the outer lock in place.
        EXPECT_EQ(
            sqlite_exec(c->db, "SELECT * FROM rel WHERE parent = '1';", nullptr, nullptr, nullptr),
            SQLITE_OK);
        ::close(::open(c->path.c_str(), O_RDONLY));
        c->writer_lock_results.push_back(c->writer->Run(Step::kLock).rc);
        return 0;
      },
      &context, nullptr);
  EXPECT_EQ(rc, SQLITE_OK);
  EXPECT_EQ(context.writer_lock_results, (std::vector<int>{SQLITE_BUSY, SQLITE_BUSY}));
  // Between statements the file is free.
  EXPECT_TRUE(writer->Run(Step::kLock).ok());
  EXPECT_TRUE(writer->Run(Step::kUnlock).ok());
  sqlite_close(db);
}

TEST(Locking, TheWaitForAWriterIsBounded) {
  ScratchDir dir;
  const std::string path = dir.File("fonts.db");
  WriteBytes(path, FontImage(1, 10));
  std::unique_ptr<WriterProcess> writer;
  ASSERT_TRUE(WriterProcess::Start(path, FontImage(2, 10), {}, &writer).ok());
  ASSERT_TRUE(writer->Run(Step::kLock).ok());
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  format::SharedFileLock lock;
  EXPECT_EQ(lock.Acquire(fd, std::chrono::milliseconds(0)).rc, SQLITE_BUSY);
  EXPECT_EQ(lock.Acquire(fd, std::chrono::milliseconds(50)).rc, SQLITE_BUSY);
  // A writer that finishes while the reader waits lets it in.
  std::thread finisher([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_TRUE(writer->Run(Step::kUnlock).ok());
  });
  EXPECT_TRUE(lock.Acquire(fd, std::chrono::minutes(1)).ok());
  finisher.join();
  EXPECT_EQ(writer->Run(Step::kLock).rc, SQLITE_BUSY);
  lock.Release();
  EXPECT_TRUE(writer->Run(Step::kLock).ok());
  ::close(fd);
}

// A writer process commits one version after another, some of them slowly,
// while this thread reads: every read that is not turned away as busy sees
// exactly one committed version, and the file is only ever written by the
// writer.
TEST(Locking, ReadsBesideAWriterSeeOnlyCommittedVersions) {
  ScratchDir dir;
  const std::string path = dir.File("fonts.db");
  constexpr int kVersions = 12;
  std::vector<std::vector<uint8_t>> images;
  std::vector<Lines> states;
  for (int v = 0; v < kVersions; ++v) {
    images.push_back(FontImage(v, 30 + 17 * (v % 4)));
    states.push_back(CommittedState(dir, images.back()));
  }
  WriteBytes(path, images[0]);

  // Every writer is forked here, while this is the only thread: a child
  // forked beside a thread that holds the allocator's lock (the reads
  // below allocate all the time) may wait for it forever, as it does under
  // AddressSanitizer. Each child opens the file and waits for its steps.
  std::vector<std::unique_ptr<WriterProcess>> writers(kVersions);
  for (int v = 1; v < kVersions; ++v)
    ASSERT_TRUE(WriterProcess::Start(path, images[v], {}, &writers[v]).ok()) << "version " << v;

  // Runs in its own thread, so it reports failures instead of asserting.
  auto commit = [&](int v) {
    WriterProcess* writer = writers[v].get();
    Status status;
    while ((status = writer->Run(Step::kLock)).rc == SQLITE_BUSY)
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    if (status.ok())
      status = writer->Run(Step::kWriteJournal);
    if (status.ok())
      status = writer->Run(Step::kWritePages, 3);
    // Half written: readers wait, then give up or get in after the commit.
    std::this_thread::sleep_for(std::chrono::milliseconds(v % 3 == 0 ? 400 : 5));
    for (Step step : {Step::kWritePages, Step::kDeleteJournal, Step::kUnlock}) {
      if (status.ok())
        status = writer->Run(step);
    }
    return status.ok();
  };
  std::atomic<bool> done = false;
  std::thread writing([&] {
    for (int v = 1; v < kVersions; ++v)
      EXPECT_TRUE(commit(v)) << "version " << v;
    done = true;
  });

  sqlite* db = Open(path);
  int reads = 0, busy = 0;
  while (!done) {
    const Lines lines = ReadEverything(db);
    if (lines == Lines{"rc 5 database is locked"}) {
      ++busy;
      continue;
    }
    ++reads;
    if (std::find(states.begin(), states.end(), lines) == states.end()) {
      ADD_FAILURE() << "read " << reads << " saw no committed version";
      break;
    }
  }
  writing.join();
  EXPECT_EQ(ReadEverything(db), states.back());
  sqlite_close(db);
  EXPECT_GT(reads, 0);
  RecordProperty("busy_reads", busy);
}

}  // namespace
}  // namespace sqlite2::testing
