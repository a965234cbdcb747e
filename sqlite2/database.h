// An open database: the C++ interface beneath the C API.
//
//   std::unique_ptr<Database> db;
//   Status status = Database::Open("things.db", &db);
//   status = db->Execute("SELECT * FROM things;", [](const Query& q) {
//     ... q.column_names(), q.row() ...
//     return true;  // false stops the statement and the ones after it
//   });
//
// The file is only ever read. Each statement sees the file as it is when
// the statement starts: the outermost statement takes a snapshot - the
// shared file lock the 2.8 library takes to read (snapshot.h) - re-reads
// page 1, reloads the schema when its cookie has moved, and drops the
// snapshot when it ends, with every page and automatic index it holds; the
// damaged pages the library goes on using outlive it
// (half_checked_pages.h). A statement run from inside another's row
// handler shares that snapshot, so nested reads never disturb the outer
// one. Prepared statements are kept in the statement cache
// (statement_cache.h), so running the same statement with other strings
// costs no parsing or planning.
#ifndef SQLITE2_DATABASE_H_
#define SQLITE2_DATABASE_H_

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "sqlite2/format/half_checked_pages.h"
#include "sqlite2/format/page_source.h"
#include "sqlite2/format/pager.h"
#include "sqlite2/prepared_select.h"
#include "sqlite2/query.h"
#include "sqlite2/schema.h"
#include "sqlite2/snapshot.h"
#include "sqlite2/sql/statement.h"
#include "sqlite2/sql/statement_shape.h"
#include "sqlite2/statement_cache.h"
#include "sqlite2/status.h"

namespace sqlite2 {

// Called once per result row; returning false aborts.
using RowHandler = std::function<bool(const Query& query)>;

class Database {
 public:
  // Opens `path` read-only and loads its schema; when a writer holds the
  // file, the open still succeeds and the first statement that gets the
  // lock loads it, as with the real library. A path that does not exist
  // fails ("unable to open database: <path>") and is never created; a
  // directory is "disk I/O error"; a file shorter than one page is an
  // empty database; the empty path is an empty database of its own.
  static Status Open(const std::string& path, std::unique_ptr<Database>* out);
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  // Runs the ';'-separated statements of `sql` in order, each to its end
  // before the next is parsed, and stops at the first failure; rows
  // already handed to `on_row` stay delivered. When `on_row` returns
  // false the result is SQLITE_ABORT with an empty message.
  Status Execute(std::string_view sql, const RowHandler& on_row);

 private:
  class StatementScope;

  Database() = default;
  // Runs the statement that begins at `begin` of `sql`; `end` gets where
  // it ends.
  Status RunStatement(std::string_view sql, size_t begin, const RowHandler& on_row, size_t* end);
  // What each level of statements nested in row handlers reuses from one
  // statement to the next, so that many statements run at one level
  // allocate nothing for their literals and rows.
  struct Level {
    BoundLiterals literals;
    Query query;
  };

  // Prepares the statement from `parsed` (parsed here when not yet) and
  // keeps it.
  Status Prepare(const sql::StatementShape& shape, std::optional<sql::SelectStatement>* parsed,
                 std::shared_ptr<const PreparedSelect>* statement);
  Status Run(const PreparedSelect& statement, Level& level, const RowHandler& on_row);
  // Takes the snapshot an outermost statement reads and brings the schema
  // up to date in it.
  Status BeginSnapshot(std::chrono::milliseconds busy_wait);
  // Lets go of it when the outermost statement ends.
  void EndSnapshot();

  std::unique_ptr<format::PageSource> source_;
  SnapshotSource snapshot_source_;
  format::HalfCheckedPages half_checked_;
  std::unique_ptr<Snapshot> snapshot_;  // while a statement runs
  Schema schema_;
  bool schema_loaded_ = false;
  // Statements resolved against schema_, emptied whenever it is loaded.
  StatementCache statements_;
  uint64_t schema_loads_ = 0;
  int running_statements_ = 0;
  std::vector<std::unique_ptr<Level>> levels_;  // by running_statements_ when it starts
};

}  // namespace sqlite2

#endif  // SQLITE2_DATABASE_H_
