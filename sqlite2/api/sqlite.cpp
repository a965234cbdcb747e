// The classic C interface over sqlite2::Database.
#include "sqlite2/sqlite.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sqlite2/api/format.h"
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
  // Runs for every row of every statement, so the buffers only ever grow,
  // and are filled in place.
  void Fill(const sqlite2::Query& query) {
    const sqlite2::RowValues& row = query.row();
    size_t size = 0;
    for (const auto& value : row) {
      if (value)
        size += value->size() + 1;
    }
    if (text_.size() < size)
      text_.resize(size);
    if (argv_.size() != row.size() + 1)
      argv_.resize(row.size() + 1);
    char* next = text_.data();
    for (size_t i = 0; i < row.size(); ++i) {
      if (!row[i]) {
        argv_[i] = nullptr;
        continue;
      }
      argv_[i] = next;
      CopyBytes(row[i]->data(), row[i]->size(), next);
      next += row[i]->size();
      *next++ = '\0';
    }
    argv_[row.size()] = nullptr;

    const std::vector<std::string>& names = query.column_names();
    const std::vector<std::optional<std::string>>& types = query.column_types();
    if (names_.size() != names.size() + types.size())
      names_.resize(names.size() + types.size());
    for (size_t i = 0; i < names.size(); ++i)
      names_[i] = const_cast<char*>(names[i].c_str());
    for (size_t i = 0; i < types.size(); ++i)
      names_[names.size() + i] = types[i] ? const_cast<char*>(types[i]->c_str()) : nullptr;
  }

  // Copies `size` bytes from `from` to `to`. Most values of a row are
  // short, and for them a call to memcpy costs more than the copy: two
  // fixed-size moves that overlap as needed, a few loads and stores once
  // compiled, cover every size up to 32.
  static void CopyBytes(const char* from, size_t size, char* to) {
    if (size > 32) {
      std::memcpy(to, from, size);
    } else if (size >= 16) {
      std::memcpy(to, from, 16);
      std::memcpy(to + size - 16, from + size - 16, 16);
    } else if (size >= 8) {
      std::memcpy(to, from, 8);
      std::memcpy(to + size - 8, from + size - 8, 8);
    } else if (size >= 4) {
      std::memcpy(to, from, 4);
      std::memcpy(to + size - 4, from + size - 4, 4);
    } else {
      for (size_t i = 0; i < size; ++i)
        to[i] = from[i];
    }
  }

  std::vector<char> text_;
  std::vector<char*> argv_;
  std::vector<char*> names_;
};

// What the statements run at one level of nesting in row callbacks reuse,
// kept from one statement to the next: statements run one after another
// at the same level - lookups nested in a scan, say - format their SQL and
// lay their rows out in the same buffers.
struct Level {
  std::string sql;  // the text sqlite_exec_printf() formatted
  CallbackRow row;
};

}  // namespace

struct sqlite {
  std::unique_ptr<sqlite2::Database> database;
  std::vector<std::unique_ptr<Level>> levels;
  size_t depth = 0;  // statements running, each in the callback of the one before

  Level& level() {
    if (levels.size() == depth)
      levels.push_back(std::make_unique<Level>());
    return *levels[depth];
  }
};

namespace {

// The level of the statement running at the connection's current depth,
// for as long as it runs.
class LevelScope {
 public:
  explicit LevelScope(sqlite* db) : db_(db), level_(&db->level()) { ++db_->depth; }
  ~LevelScope() { --db_->depth; }
  LevelScope(const LevelScope&) = delete;
  LevelScope& operator=(const LevelScope&) = delete;

  CallbackRow& row() const { return level_->row; }

 private:
  sqlite* db_;
  Level* level_;
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
  LevelScope scope(db);
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

int sqlite_exec_vprintf(sqlite* db, const char* sqlFormat, sqlite_callback xCallback, void* pArg,
                        char** errmsg, va_list ap) {
  std::string unconnected;
  std::string& sql = db != nullptr ? db->level().sql : unconnected;
  sqlite2::api::Format(sqlFormat != nullptr ? sqlFormat : "", ap, &sql);
  // The statement is the formatted text up to its first NUL.
  return sqlite_exec(db, sql.c_str(), xCallback, pArg, errmsg);
}

int sqlite_exec_printf(sqlite* db, const char* sqlFormat, sqlite_callback xCallback, void* pArg,
                       char** errmsg, ...) {
  va_list ap;
  va_start(ap, errmsg);
  const int rc = sqlite_exec_vprintf(db, sqlFormat, xCallback, pArg, errmsg, ap);
  va_end(ap);
  return rc;
}

void sqlite_freemem(void* p) {
  std::free(p);
}

const char* sqlite_error_string(int rc) {
  return sqlite2::ErrorText(rc);
}

}  // extern "C"
