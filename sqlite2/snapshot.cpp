#include "sqlite2/snapshot.h"

#include <utility>

#include "sqlite2/format/table_cursor.h"

namespace sqlite2 {

Status Snapshot::Take(const SnapshotSource& source, std::chrono::milliseconds busy_wait,
                      std::unique_ptr<Snapshot>* out) {
  std::unique_ptr<Snapshot> snapshot(new Snapshot());
  format::PageSource* pages = source.pages;
  if (source.fd >= 0) {
    if (Status status = snapshot->lock_.Acquire(source.fd, busy_wait); !status.ok()) {
      return status;
    }
    // Only under the lock is a journal known to be hot rather than one a
    // live writer is still filling.
    Status status = format::JournalOverlay::Open(source.journal_path, pages, &snapshot->journal_);
    if (!status.ok()) {
      return status;
    }
    if (snapshot->journal_ != nullptr) {
      pages = snapshot->journal_.get();
    }
  }
  snapshot->pager_ = std::make_unique<format::Pager>(pages, source.half_checked);
  if (Status status = snapshot->pager_->Refresh(); !status.ok()) {
    return status;
  }
  *out = std::move(snapshot);
  return Status::Ok();
}

Snapshot::~Snapshot() = default;

const AutomaticIndex& Snapshot::AutomaticIndexOf(const TableInfo& table, size_t column,
                                                 bool numeric) {
  BuiltIndex& built = indexes_[{&table, column, numeric}];
  if (built.index == nullptr || built.ended_on_new_damage) {
    const uint64_t check_failures = pager_->check_failures();
    format::TableCursor rows(pager_.get(), table.root);
    built.index = AutomaticIndex::Build(&rows, column, numeric);
    built.ended_on_new_damage =
        !built.index->error().ok() && pager_->check_failures() != check_failures;
  }
  return *built.index;
}

}  // namespace sqlite2
