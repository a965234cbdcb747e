// Changing a database file in place the way a 2.8 writer process does, one
// step at a time, so that tests can stop anywhere and look at what a reader
// sees: a locked file, or a hot journal left by a writer that died.
//
// The protocol: take a read lock on the whole file and upgrade it to a
// write lock (POSIX fcntl, start 0, length 0); create <path>-journal
// (exclusively, mode 0600) holding the original contents of every page the
// change overwrites or cuts off; sync it; write the new pages in place and
// set the new size; delete the journal; drop the lock.
//
// The journal (format 3, every integer big-endian):
//
//   offset size  field
//        0    8  magic d9 d5 05 f9 20 a1 63 d6
//        8    4  number of page records (0xffffffff: count them from the
//                journal's size)
//       12    4  checksum seed
//       16    4  database size in pages before the change
//       20 1032  page records: page number, 1024 original bytes, and the
//                checksum word seed + page number
//
// A rollback truncates the database to the original size and copies the
// records back, so a reader that finds the journal must use the records in
// place of the file's pages.
#ifndef TESTS_SQLITE2_WRITER_JOURNALED_REWRITE_H_
#define TESTS_SQLITE2_WRITER_JOURNALED_REWRITE_H_

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "sqlite2/status.h"

namespace sqlite2::writer {

struct JournalOptions {
  enum class RecordCount {
    kCounted,       // the header counts the records, as after a sync
    kNotYetSynced,  // 0: the writer died before it synced the journal
    kFromFileSize,  // 0xffffffff, as a writer with syncing turned off leaves it
  };
  RecordCount record_count = RecordCount::kCounted;
  uint32_t checksum_seed = 0x8b35f13b;
};

class JournaledRewrite {
 public:
  // Opens `path` (an existing database) for writing; `new_image`, a whole
  // number of pages, is what the file holds after the change.
  static Status Open(const std::string& path, std::vector<uint8_t> new_image,
                     JournalOptions options, std::unique_ptr<JournaledRewrite>* out);
  // Closes the file, which drops any lock still held; a journal still there
  // stays, as after a crash.
  ~JournaledRewrite();
  JournaledRewrite(const JournaledRewrite&) = delete;
  JournaledRewrite& operator=(const JournaledRewrite&) = delete;

  std::string journal_path() const { return path_ + "-journal"; }
  // Pages the change overwrites or cuts off, in ascending order; known once
  // the journal is written.
  const std::vector<uint32_t>& journaled_pages() const { return journaled_; }

  // Takes the write lock; fails with "database is locked" while another
  // process holds any lock on the file.
  Status Lock();
  // Reads the file as it is now and journals what the change will overwrite.
  Status WriteJournal();
  // Writes the next `limit` pages that differ (all that are left by default)
  // and, once all are written, gives the file its new size.
  Status WritePages(size_t limit = SIZE_MAX);
  Status DeleteJournal();
  Status Unlock();
  // All of the steps above, in order.
  Status Commit();

 private:
  JournaledRewrite(std::string path, int fd, std::vector<uint8_t> new_image, JournalOptions options)
      : path_(std::move(path)), fd_(fd), new_image_(std::move(new_image)), options_(options) {}
  Status SetLock(short type);

  std::string path_;
  int fd_;
  std::vector<uint8_t> new_image_;
  JournalOptions options_;
  bool journal_written_ = false;
  std::vector<uint32_t> journaled_;
  // Pages still to be written, in descending order so the next is at the back.
  std::vector<uint32_t> to_write_;
};

}  // namespace sqlite2::writer

#endif  // TESTS_SQLITE2_WRITER_JOURNALED_REWRITE_H_
