#include "sqlite2/database.h"

#include <utility>

#include "sqlite2/format/file_header.h"
#include "sqlite2/sql/select_parser.h"

namespace sqlite2 {
namespace {

// What the empty path opens: a database with no pages at all.
class EmptyPageSource : public format::PageSource {
 public:
  Status CountPages(uint32_t* count) override {
    *count = 0;
    return Status::Ok();
  }
  Status ReadPage(format::PageNumber, format::Page* out) override {
    out->fill(0);
    return Status::Ok();
  }
};

}  // namespace

// Brackets one statement. The outermost one brings the view of the file up
// to date and lets go of the cached pages at its end.
class Database::StatementScope {
 public:
  explicit StatementScope(Database* db) : db_(db) {
    if (db_->running_statements_++ > 0)
      return;
    status_ = db_->pager_->Refresh();
    if (status_.ok() && db_->pager_->header().schema_cookie != db_->schema_.cookie())
      status_ = Schema::Load(*db_->pager_, &db_->schema_);
  }
  ~StatementScope() {
    if (--db_->running_statements_ == 0)
      db_->pager_->DropCache();
  }
  StatementScope(const StatementScope&) = delete;
  StatementScope& operator=(const StatementScope&) = delete;

  const Status& status() const { return status_; }

 private:
  Database* db_;
  Status status_;
};

Database::~Database() = default;

Status Database::Open(const std::string& path, std::unique_ptr<Database>* out) {
  std::unique_ptr<Database> db(new Database());
  if (path.empty()) {
    db->source_ = std::make_unique<EmptyPageSource>();
  } else {
    std::unique_ptr<format::FilePageSource> file;
    if (Status status = format::FilePageSource::Open(path, &file); !status.ok())
      return status;
    db->source_ = std::move(file);
  }
  db->pager_ = std::make_unique<format::Pager>(db->source_.get());
  Status status = db->pager_->Refresh();
  if (status.ok())
    status = Schema::Load(*db->pager_, &db->schema_);
  if (status.ok())
    status = format::RequireUpgradedFormat(db->pager_->header());
  db->pager_->DropCache();
  if (!status.ok())
    return status;
  *out = std::move(db);
  return Status::Ok();
}

Status Database::Execute(std::string_view sql, const RowHandler& on_row) {
  sql::StatementReader reader(sql);
  for (;;) {
    std::optional<sql::SelectStatement> statement;
    if (Status status = reader.Next(&statement); !status.ok() || !statement)
      return status;
    if (Status status = Run(*statement, on_row); !status.ok())
      return status;
  }
}

Status Database::Run(const sql::SelectStatement& statement, const RowHandler& on_row) {
  StatementScope scope(this);
  if (!scope.status().ok())
    return scope.status();
  std::unique_ptr<Query> query;
  if (Status status = Query::Prepare(schema_, pager_.get(), statement, &query); !status.ok())
    return status;
  for (;;) {
    bool has_row = false;
    if (Status status = query->Step(&has_row); !status.ok() || !has_row)
      return status;
    if (on_row && !on_row(*query))
      return Status::Error(SQLITE_ABORT, "");
  }
}

}  // namespace sqlite2
