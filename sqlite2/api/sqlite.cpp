// The classic C interface over sqlite2::Database.
#include "sqlite2/sqlite.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "sqlite2/database.h"

struct sqlite {
  std::unique_ptr<sqlite2::Database> database;
};

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
  void Fill(const sqlite2::Query& query) {
    const sqlite2::RowValues& row = query.row();
    text_.clear();
    std::vector<size_t> starts;
    for (const auto& value : row) {
      starts.push_back(text_.size());
      if (value) {
        text_.append(*value);
        text_.push_back('\0');
      }
    }
    argv_.clear();
    for (size_t i = 0; i < row.size(); ++i)
      argv_.push_back(row[i] ? text_.data() + starts[i] : nullptr);
    argv_.push_back(nullptr);

    names_.clear();
    for (const std::string& name : query.column_names())
      names_.push_back(const_cast<char*>(name.c_str()));
    for (const auto& type : query.column_types())
      names_.push_back(type ? const_cast<char*>(type->c_str()) : nullptr);
  }

  int argc() const { return static_cast<int>(argv_.size() - 1); }
  char** argv() { return argv_.data(); }
  char** names() { return names_.data(); }

 private:
  std::string text_;
  std::vector<char*> argv_;
  std::vector<char*> names_;
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
    SetMessage(errmsg, status.message);
    return nullptr;
  }
  return new sqlite{std::move(database)};
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
  CallbackRow row;
  const sqlite2::RowHandler handler = [&](const sqlite2::Query& query) {
    if (xCallback == nullptr)
      return true;
    row.Fill(query);
    return xCallback(pArg, row.argc(), row.argv(), row.names()) == 0;
  };
  sqlite2::Status status = db->database->Execute(sql, handler);
  // An aborted statement carries no message.
  if (!status.ok() && !status.message.empty())
    SetMessage(errmsg, status.message);
  return status.rc;
}

void sqlite_freemem(void* p) {
  std::free(p);
}

const char* sqlite_error_string(int rc) {
  static const char* const kTexts[] = {
      "not an error",
      "SQL logic error or missing database",
      "internal SQLite implementation flaw",
      "access permission denied",
      "callback requested query abort",
      "database is locked",
      "database table is locked",
      "out of memory",
      "attempt to write a readonly database",
      "interrupted",
      "disk I/O error",
      "database disk image is malformed",
      "table or record not found",
      "database is full",
      "unable to open database file",
      "database locking protocol failure",
      "table contains no data",
      "database schema has changed",
      "too much data for one table row",
      "constraint failed",
      "datatype mismatch",
      "library routine called out of sequence",
      "kernel lacks large file support",
      "authorization denied",
      "auxiliary database format error",
      "bind index out of range",
      "file is encrypted or is not a database",
  };
  if (rc < 0 || rc >= static_cast<int>(std::size(kTexts)))
    return "unknown error";
  return kTexts[rc];
}

}  // extern "C"
