// What an outermost statement and the statements nested in it read: the
// database's committed state at the moment the shared lock was taken.
//
// A 2.8 reader holds its lock from a statement's first page to the end of
// its last row callback; so does a snapshot, for as long as it lives. No
// 2.8 writer can start meanwhile, so the pages read stay true and may be
// cached, and so may hashes built over them. A writer that died
// mid-transaction leaves a hot journal: the snapshot then reads the file
// through the journal's rollback, in memory.
#ifndef SQLITE2_SNAPSHOT_H_
#define SQLITE2_SNAPSHOT_H_

#include <chrono>
#include <memory>
#include <string>

#include "sqlite2/column_hash.h"
#include "sqlite2/format/file_lock.h"
#include "sqlite2/format/half_checked_pages.h"
#include "sqlite2/format/journal.h"
#include "sqlite2/format/page_source.h"
#include "sqlite2/format/pager.h"
#include "sqlite2/status.h"

namespace sqlite2 {

// The database a snapshot is taken of.
struct SnapshotSource {
  format::PageSource* pages = nullptr;
  // The descriptor to lock, or -1 for a database that is no file.
  int fd = -1;
  std::string journal_path;
  // The connection's pages that failed their check and are used anyway.
  format::HalfCheckedPages* half_checked = nullptr;
};

class Snapshot {
 public:
  // How long a statement waits for a writer to finish. The real library
  // fails at once; a short wait spares the host a failed refresh when the
  // font manager happens to be writing, and stays short because the host's
  // main thread is the one waiting.
  static constexpr std::chrono::milliseconds kBusyWait{300};

  // Takes the lock (waiting at most `busy_wait`), reads a hot journal and
  // page 1. Fails with "database is locked" when a writer keeps the lock or
  // the journal cannot be read, and as page 1 is decoded otherwise.
  static Status Take(const SnapshotSource& source, std::chrono::milliseconds busy_wait,
                     std::unique_ptr<Snapshot>* out);
  // Drops the cached pages and hashes, then the lock.
  ~Snapshot();
  Snapshot(const Snapshot&) = delete;
  Snapshot& operator=(const Snapshot&) = delete;

  format::Pager* pager() { return pager_.get(); }
  ColumnHashes* hashes() { return &hashes_; }

 private:
  Snapshot() = default;

  // Declared first, destroyed last: nothing may read once the lock is gone.
  format::SharedFileLock lock_;
  std::unique_ptr<format::JournalOverlay> journal_;
  std::unique_ptr<format::Pager> pager_;
  ColumnHashes hashes_;
};

}  // namespace sqlite2

#endif  // SQLITE2_SNAPSHOT_H_
