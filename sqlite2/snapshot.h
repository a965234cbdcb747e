// What an outermost statement and the statements nested in it read: the
// database's committed state at the moment the shared lock was taken.
//
// The 2.8 library holds its read lock from a statement's first page to the
// end of its last row callback; so does a snapshot, for as long as it
// lives. No 2.8 writer can start meanwhile, so the pages read stay true and
// may be kept, and so may the automatic indexes built over them
// (automatic_index.h). The snapshot owns everything that is valid for one
// read lock only - the lock, the pager with its pages, the indexes - and
// drops them together. A writer that died mid-transaction leaves a hot
// journal: the snapshot then reads the file through the journal's
// rollback, in memory.
#ifndef SQLITE2_SNAPSHOT_H_
#define SQLITE2_SNAPSHOT_H_

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <tuple>

#include "sqlite2/automatic_index.h"
#include "sqlite2/format/file_lock.h"
#include "sqlite2/format/half_checked_pages.h"
#include "sqlite2/format/journal.h"
#include "sqlite2/format/page_source.h"
#include "sqlite2/format/pager.h"
#include "sqlite2/schema.h"
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
  // How long a statement waits for a writer to finish. The 2.8 library
  // fails at once; a short wait spares the caller a failed read when a
  // writer happens to be committing, and stays short because the caller
  // waits on whatever thread runs the statement.
  static constexpr std::chrono::milliseconds kBusyWait{300};

  // Takes the lock (waiting at most `busy_wait`), reads a hot journal and
  // page 1. Fails with "database is locked" when a writer keeps the lock or
  // the journal cannot be read, and as page 1 is decoded otherwise.
  static Status Take(const SnapshotSource& source, std::chrono::milliseconds busy_wait,
                     std::unique_ptr<Snapshot>* out);
  // Drops the indexes and the pages, then the lock.
  ~Snapshot();
  Snapshot(const Snapshot&) = delete;
  Snapshot& operator=(const Snapshot&) = delete;

  format::Pager* pager() { return pager_.get(); }
  // The automatic index of `column` of `table` for an equality that is
  // numeric or not, built on first use, and built again when its last
  // build ended on a page that failed its check for the first time.
  const AutomaticIndex& AutomaticIndexOf(const TableInfo& table, size_t column, bool numeric);

 private:
  Snapshot() = default;

  // Declared first, destroyed last: nothing may read once the lock is gone.
  format::SharedFileLock lock_;
  std::unique_ptr<format::JournalOverlay> journal_;
  std::unique_ptr<format::Pager> pager_;
  struct BuiltIndex {
    std::unique_ptr<AutomaticIndex> index;
    bool ended_on_new_damage = false;
  };
  // Keyed by the table itself: the schema is never reloaded under the lock.
  std::map<std::tuple<const TableInfo*, size_t, bool>, BuiltIndex> indexes_;
};

}  // namespace sqlite2

#endif  // SQLITE2_SNAPSHOT_H_
