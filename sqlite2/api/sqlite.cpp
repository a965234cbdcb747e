// The classic C interface over sqlite2::Database.
#include "sqlite2/sqlite.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "sqlite2/database.h"

namespace {

// Messages are handed out with malloc, for sqlite_freemem() to free.
void SetMessage(char** errmsg, const std::string& message) {
  if (errmsg == nullptr)
    return;
  *errmsg = static_cast<char*>(std::malloc(message.size() + 1));
  if (*errmsg != nullptr)
    std::memcpy(*errmsg, message.c_str(), message.size() + 1);
}

// Lays a row out as the callback expects it: NUL-terminated copies that the
// callback may even write to, NULL for SQL NULL and after the last value;
// the names followed by the types.
class CallbackRow {
 public:
  // Hands the query's current row to `callback`; false when it asks to
  // stop.
  bool Deliver(const sqlite2::Query& query, sqlite_callback callback, void* arg) {
    if (callback == nullptr)
      return true;
    Fill(query);
    return callback(arg, static_cast<int>(argv_.size() - 1), argv_.data(), names_.data()) == 0;
  }

 private:
  // Runs for every row of every statement, the plug-in's many font lookups
  // included, so each buffer is sized once per row rather than grown.
  void Fill(const sqlite2::Query& query) {
    const sqlite2::RowValues& row = query.row();
    size_t size = 0;
    for (const auto& value : row) {
      if (value)
        size += value->size() + 1;
    }
    // Reserved in full first, so the pointers taken below stay valid.
    text_.clear();
    text_.reserve(size);
    argv_.clear();
    argv_.reserve(row.size() + 1);
    for (const auto& value : row) {
      if (!value) {
        argv_.push_back(nullptr);
        continue;
      }
      argv_.push_back(text_.data() + text_.size());
      text_.append(*value);
      text_.push_back('\0');
    }
    argv_.push_back(nullptr);

    names_.clear();
    names_.reserve(2 * row.size());
    for (const std::string& name : query.column_names())
      names_.push_back(const_cast<char*>(name.c_str()));
    for (const auto& type : query.column_types())
      names_.push_back(type ? const_cast<char*>(type->c_str()) : nullptr);
  }

  std::string text_;
  std::vector<char*> argv_;
  std::vector<char*> names_;
};

}  // namespace

struct sqlite {
  std::unique_ptr<sqlite2::Database> database;
  // One row layout for each level of statements nested in callbacks, kept
  // from one statement to the next: the reader's thousands of lookups, all
  // at the same level, then lay their rows out in the same buffers.
  std::vector<std::unique_ptr<CallbackRow>> rows;
  size_t depth = 0;
};

namespace {

// The row layout of the statement running at the connection's current
// level, for as long as it runs.
class RowScope {
 public:
  explicit RowScope(sqlite* db) : db_(db) {
    if (db_->rows.size() == db_->depth)
      db_->rows.push_back(std::make_unique<CallbackRow>());
    row_ = db_->rows[db_->depth++].get();
  }
  ~RowScope() { --db_->depth; }
  RowScope(const RowScope&) = delete;
  RowScope& operator=(const RowScope&) = delete;

  CallbackRow& row() const { return *row_; }

 private:
  sqlite* db_;
  CallbackRow* row_;
};

}  // namespace

extern "C" {

const char sqlite_version[] = SQLITE_VERSION;

const char* sqlite_libversion(void) {
  return sqlite_version;
}

// The mode is ignored, as by the 2.8 library: the file is only ever read.
sqlite* sqlite_open(const char* filename, int /*mode*/, char** errmsg) {
  std::unique_ptr<sqlite2::Database> database;
  sqlite2::Status status = sqlite2::Database::Open(filename != nullptr ? filename : "", &database);
  if (!status.ok()) {
    SetMessage(errmsg, status.message());
    return nullptr;
  }
  auto* db = new sqlite();
  db->database = std::move(database);
  return db;
}

void sqlite_close(sqlite* db) {
  delete db;
}

int sqlite_exec(sqlite* db, const char* sql, sqlite_callback xCallback, void* pArg, char** errmsg) {
  // Nothing to run leaves *errmsg as it was.
  if (sql == nullptr || *sql == '\0')
    return SQLITE_OK;
  if (errmsg != nullptr)
    *errmsg = nullptr;
  if (db == nullptr) {
    SetMessage(errmsg, sqlite_error_string(SQLITE_MISUSE));
    return SQLITE_MISUSE;
  }
  RowScope scope(db);
  // Small enough for the handler to hold without allocating.
  struct Target {
    CallbackRow* row;
    sqlite_callback callback;
    void* arg;
  } target{&scope.row(), xCallback, pArg};
  const sqlite2::RowHandler handler = [&target](const sqlite2::Query& query) {
    return target.row->Deliver(query, target.callback, target.arg);
  };
  sqlite2::Status status = db->database->Execute(sql, handler);
  // An aborted statement carries no message.
  if (!status.ok() && !status.message().empty())
    SetMessage(errmsg, status.message());
  return status.rc;
}

void sqlite_freemem(void* p) {
  std::free(p);
}

const char* sqlite_error_string(int rc) {
  return sqlite2::ErrorText(rc);
}

}  // extern "C"
