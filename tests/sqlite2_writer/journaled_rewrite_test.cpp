#include "tests/sqlite2_writer/journaled_rewrite.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "sqlite2/format/keys.h"
#include "tests/sqlite2_writer/btree_builder.h"
#include "tests/sqlite2_writer/writer_process.h"
#include "tests/sqlite2_writer/scratch_dir.h"

namespace sqlite2::writer {
namespace {

using testing::ReadBytes;
using testing::ScratchDir;
using testing::WriteBytes;

constexpr size_t kPage = 1024;

// A database with one table of `rows` rows whose text depends on `salt`.
std::vector<uint8_t> TableImage(int rows, char salt) {
  std::vector<Entry> entries;
  for (int rowid = 1; rowid <= rows; ++rowid) {
    entries.push_back({format::EncodeRowidKey(rowid), std::string(40, salt)});
  }
  PageFile file(ByteOrder::kLittleEndian);
  file.Allocate();
  file.Allocate();
  const PageNumber root = file.Allocate();
  WriteBtree(file, 2, {}, {});
  WriteBtree(file, root, entries, {});
  file.WriteHeader(1, 4);
  return file.Bytes();
}

uint32_t BigEndian32(const std::vector<uint8_t>& bytes, size_t at) {
  return uint32_t{bytes[at]} << 24 | uint32_t{bytes[at + 1]} << 16 | uint32_t{bytes[at + 2]} << 8 |
         bytes[at + 3];
}

// What the library's rollback makes of `database` with `journal`: cut the
// file to its original size, then copy back records until one has page 0 or
// a wrong checksum.
std::vector<uint8_t> RollBack(std::vector<uint8_t> database, const std::vector<uint8_t>& journal) {
  uint32_t records = BigEndian32(journal, 8);
  const uint32_t seed = BigEndian32(journal, 12);
  if (records == 0xffffffff)
    records = static_cast<uint32_t>((journal.size() - 20) / 1032);
  database.resize(size_t{BigEndian32(journal, 16)} * kPage, 0);
  for (uint32_t r = 0; r < records; ++r) {
    const size_t at = 20 + size_t{r} * 1032;
    const uint32_t page = BigEndian32(journal, at);
    if (page == 0 || BigEndian32(journal, at + 4 + kPage) != seed + page)
      break;
    std::copy_n(journal.begin() + static_cast<ptrdiff_t>(at + 4), kPage,
                database.begin() + static_cast<ptrdiff_t>((page - 1) * kPage));
  }
  return database;
}

struct RewriteCase {
  const char* name;
  std::vector<uint8_t> after;
  size_t pages_written;
  JournalOptions::RecordCount record_count;
};

void PrintTo(const RewriteCase& c, std::ostream* out) {
  *out << c.name;
}

class RewriteTest : public ::testing::TestWithParam<RewriteCase> {};

// Wherever a writer stops after syncing its journal, the journal and the
// file together still give back the original database.
TEST_P(RewriteTest, JournalRestoresTheOriginalWhereverTheWriterStops) {
  const RewriteCase& c = GetParam();
  ScratchDir dir;
  const std::string path = dir.File("test.db");
  const std::vector<uint8_t> before = TableImage(300, 'a');
  WriteBytes(path, before);

  std::unique_ptr<JournaledRewrite> rewrite;
  ASSERT_TRUE(JournaledRewrite::Open(path, c.after, {c.record_count, 0x12345678}, &rewrite).ok());
  ASSERT_TRUE(rewrite->Lock().ok());
  ASSERT_TRUE(rewrite->WriteJournal().ok());
  ASSERT_TRUE(rewrite->WritePages(c.pages_written).ok());

  const std::vector<uint8_t> journal = ReadBytes(rewrite->journal_path());
  const std::vector<uint32_t>& pages = rewrite->journaled_pages();
  ASSERT_EQ(journal.size(), 20 + pages.size() * 1032);
  EXPECT_EQ(std::vector<uint8_t>(journal.begin(), journal.begin() + 8),
            (std::vector<uint8_t>{0xd9, 0xd5, 0x05, 0xf9, 0x20, 0xa1, 0x63, 0xd6}));
  const uint32_t expected_count =
      c.record_count == JournalOptions::RecordCount::kCounted        ? pages.size()
      : c.record_count == JournalOptions::RecordCount::kNotYetSynced ? 0
                                                                     : 0xffffffff;
  EXPECT_EQ(BigEndian32(journal, 8), expected_count);
  EXPECT_EQ(BigEndian32(journal, 16), before.size() / kPage);
  // Exactly the original pages the change overwrites or cuts off.
  for (uint32_t n = 1; n <= before.size() / kPage; ++n) {
    const auto page = [n](const std::vector<uint8_t>& image) {
      const size_t at = (n - 1) * kPage;
      return at < image.size()
                 ? std::vector<uint8_t>(image.begin() + at, image.begin() + at + kPage)
                 : std::vector<uint8_t>();
    };
    EXPECT_EQ(std::count(pages.begin(), pages.end(), n), page(before) != page(c.after) ? 1 : 0)
        << "page " << n;
  }
  struct stat st;
  ASSERT_EQ(stat(rewrite->journal_path().c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600u);

  EXPECT_EQ(RollBack(ReadBytes(path), journal), before);
}

INSTANTIATE_TEST_SUITE_P(
    Changes, RewriteTest,
    ::testing::Values(RewriteCase{"grows_nothing_written", TableImage(700, 'b'), 0,
                                  JournalOptions::RecordCount::kCounted},
                      RewriteCase{"grows_partly_written", TableImage(700, 'b'), 3,
                                  JournalOptions::RecordCount::kCounted},
                      RewriteCase{"grows_all_written", TableImage(700, 'b'), SIZE_MAX,
                                  JournalOptions::RecordCount::kCounted},
                      RewriteCase{"shrinks_all_written", TableImage(20, 'a'), SIZE_MAX,
                                  JournalOptions::RecordCount::kCounted},
                      RewriteCase{"same_size_partly_written", TableImage(300, 'c'), 5,
                                  JournalOptions::RecordCount::kCounted},
                      RewriteCase{"unsynced_count_nothing_written", TableImage(700, 'b'), 0,
                                  JournalOptions::RecordCount::kNotYetSynced},
                      RewriteCase{"count_from_size_all_written", TableImage(20, 'c'), SIZE_MAX,
                                  JournalOptions::RecordCount::kFromFileSize}),
    [](const auto& info) { return std::string(info.param.name); });

// The lock state of the file as another process sees it: F_UNLCK when free.
short LockSeenFromHere(const std::string& path, short wanted) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  struct flock lock = {};
  lock.l_type = wanted;
  lock.l_whence = SEEK_SET;
  fcntl(fd, F_GETLK, &lock);
  close(fd);
  return lock.l_type;
}

TEST(WriterProcess, HoldsTheWriteLockUntilItUnlocks) {
  ScratchDir dir;
  const std::string path = dir.File("test.db");
  WriteBytes(path, TableImage(300, 'a'));
  std::unique_ptr<WriterProcess> writer;
  ASSERT_TRUE(WriterProcess::Start(path, TableImage(500, 'b'), {}, &writer).ok());
  EXPECT_EQ(LockSeenFromHere(path, F_RDLCK), F_UNLCK);
  ASSERT_TRUE(writer->Run(WriterProcess::Step::kLock).ok());
  EXPECT_EQ(LockSeenFromHere(path, F_RDLCK), F_WRLCK);
  ASSERT_TRUE(writer->Run(WriterProcess::Step::kUnlock).ok());
  EXPECT_EQ(LockSeenFromHere(path, F_WRLCK), F_UNLCK);
}

TEST(WriterProcess, CrashMidCommitLeavesAHotJournalAndNoLock) {
  ScratchDir dir;
  const std::string path = dir.File("test.db");
  const std::vector<uint8_t> before = TableImage(300, 'a');
  WriteBytes(path, before);
  ASSERT_TRUE(CrashMidCommit(path, TableImage(900, 'q'), 4).ok());
  // The writer is gone, and its lock with it.
  EXPECT_EQ(LockSeenFromHere(path, F_WRLCK), F_UNLCK);
  EXPECT_NE(ReadBytes(path), before);
  EXPECT_EQ(RollBack(ReadBytes(path), ReadBytes(path + "-journal")), before);
}

TEST(WriterProcess, CannotStartWhileAReaderHoldsItsLock) {
  ScratchDir dir;
  const std::string path = dir.File("test.db");
  WriteBytes(path, TableImage(10, 'a'));
  const int reader = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  struct flock lock = {};
  lock.l_type = F_RDLCK;
  lock.l_whence = SEEK_SET;
  ASSERT_EQ(fcntl(reader, F_SETLK, &lock), 0);

  std::unique_ptr<WriterProcess> writer;
  ASSERT_TRUE(WriterProcess::Start(path, TableImage(20, 'b'), {}, &writer).ok());
  const Status locked = writer->Run(WriterProcess::Step::kLock);
  EXPECT_EQ(locked.rc, SQLITE_BUSY);
  EXPECT_EQ(locked.message(), "database is locked");

  close(reader);
  EXPECT_TRUE(writer->Commit().ok());
  EXPECT_EQ(ReadBytes(path), TableImage(20, 'b'));
  EXPECT_FALSE(std::filesystem::exists(path + "-journal"));
}

}  // namespace
}  // namespace sqlite2::writer
