#include "sqlite2/database.h"

#include <unistd.h>

#include <cstdlib>
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

// The journal sits next to the path as given, made absolute the way the
// library makes it: the working directory in front, symbolic links left
// alone.
std::string JournalPath(const std::string& path) {
  std::string absolute = path;
  if (!path.starts_with('/')) {
    if (char* cwd = ::getcwd(nullptr, 0)) {
      absolute = std::string(cwd) + "/" + path;
      std::free(cwd);
    }
  }
  return absolute + "-journal";
}

}  // namespace

// Brackets one statement. The outermost one takes the snapshot that it and
// the statements nested in it read, and lets it go at its end.
class Database::StatementScope {
 public:
  explicit StatementScope(Database* db) : db_(db) {
    if (db_->running_statements_++ == 0)
      status_ = db_->BeginSnapshot(Snapshot::kBusyWait);
  }
  ~StatementScope() {
    if (--db_->running_statements_ == 0)
      db_->EndSnapshot();
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
    db->snapshot_source_.fd = file->fd();
    db->snapshot_source_.journal_path = JournalPath(path);
    db->source_ = std::move(file);
  }
  db->snapshot_source_.pages = db->source_.get();
  db->snapshot_source_.half_checked = &db->half_checked_;
  // No waiting here: a busy file defers the schema to the first statement,
  // which waits anyway.
  Status status = db->BeginSnapshot(std::chrono::milliseconds(0));
  db->EndSnapshot();
  if (!status.ok() && status.rc != SQLITE_BUSY)
    return status;
  *out = std::move(db);
  return Status::Ok();
}

Status Database::BeginSnapshot(std::chrono::milliseconds busy_wait) {
  if (Status status = Snapshot::Take(snapshot_source_, busy_wait, &snapshot_); !status.ok())
    return status;
  format::Pager& pager = *snapshot_->pager();
  if (schema_loaded_ && pager.header().schema_cookie == schema_.cookie())
    return Status::Ok();
  statements_.Clear();
  ++schema_loads_;
  Status status = Schema::Load(pager, &schema_);
  if (status.ok())
    status = format::RequireUpgradedFormat(pager.header());
  schema_loaded_ = status.ok();
  return status;
}

void Database::EndSnapshot() {
  snapshot_.reset();
  half_checked_.EndStatement();
}

Status Database::Execute(std::string_view sql, const RowHandler& on_row) {
  for (size_t pos = sql::StatementStart(sql, 0); pos < sql.size();) {
    size_t end = 0;
    if (Status status = RunStatement(sql, pos, on_row, &end); !status.ok())
      return status;
    pos = sql::StatementStart(sql, end);
  }
  return Status::Ok();
}

namespace {

Status Parse(std::string_view text, std::optional<sql::SelectStatement>* parsed) {
  sql::StatementReader reader(text);
  return reader.Next(parsed);
}

}  // namespace

Status Database::RunStatement(std::string_view sql, size_t begin, const RowHandler& on_row,
                              size_t* end) {
  const size_t depth = static_cast<size_t>(running_statements_);
  if (levels_.size() == depth)
    levels_.push_back(std::make_unique<Level>());
  Level& level = *levels_[depth];
  // A statement is parsed before the lock is taken, so that a syntax error
  // is reported whatever the lock; one met before parsed already.
  std::shared_ptr<const PreparedSelect> statement =
      statements_.Find(sql, begin, &level.literals, end);
  std::optional<sql::StatementShape> shape;
  std::optional<sql::SelectStatement> parsed;
  if (!statement) {
    shape = sql::ShapeStatement(sql, begin);
    *end = begin + shape->text.size();
    if (Status status = Parse(shape->text, &parsed); !status.ok() || !parsed)
      return status;
  }
  const uint64_t schema_loads = schema_loads_;
  StatementScope scope(this);
  if (!scope.status().ok())
    return scope.status();
  // A statement is resolved against the schema, which taking the lock may
  // just have reloaded.
  if (!statement || schema_loads_ != schema_loads) {
    if (!shape)
      shape = sql::ShapeStatement(sql, begin);
    if (Status status = Prepare(*shape, &parsed, &statement); !status.ok())
      return status;
    const std::span<const LiteralValue> written = statement->literals();
    level.literals.values.assign(written.begin(), written.end());
  }
  return Run(*statement, level, on_row);
}

Status Database::Prepare(const sql::StatementShape& shape,
                         std::optional<sql::SelectStatement>* parsed,
                         std::shared_ptr<const PreparedSelect>* statement) {
  if (!*parsed) {
    if (Status status = Parse(shape.text, parsed); !status.ok() || !*parsed)
      return status;
  }
  std::unique_ptr<const PreparedSelect> prepared;
  if (Status status = PreparedSelect::Prepare(schema_, **parsed, &prepared); !status.ok())
    return status;
  *statement = std::move(prepared);
  statements_.Keep(shape, *statement);
  return Status::Ok();
}

Status Database::Run(const PreparedSelect& statement, Level& level, const RowHandler& on_row) {
  // Only a nested statement shares its lock, and so an automatic index,
  // with the statements after it (automatic_index.h).
  Query& query = level.query;
  query.Start(statement, level.literals.values, snapshot_.get(), running_statements_ > 1);
  Status status;
  for (;;) {
    bool has_row = false;
    status = query.Step(&has_row);
    if (!status.ok() || !has_row)
      break;
    if (on_row && !on_row(query)) {
      status = Status::Error(SQLITE_ABORT, "");
      break;
    }
  }
  // The snapshot, and the pages the query points into, may end with this
  // statement.
  query.Finish();
  return status;
}

}  // namespace sqlite2
