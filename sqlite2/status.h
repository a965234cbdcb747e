// The engine's error type: an SQLite return code and the text the real
// library gives for it, carried from the page layer up to the C interface.
#ifndef SQLITE2_STATUS_H_
#define SQLITE2_STATUS_H_

#include <string>
#include <utility>

#include "sqlite2/sqlite.h"

namespace sqlite2 {

struct Status {
  int rc = SQLITE_OK;
  std::string message;

  bool ok() const { return rc == SQLITE_OK; }

  static Status Ok() { return {}; }
  static Status Error(int rc, std::string message) { return {rc, std::move(message)}; }

  // Any structural damage found while reading the file.
  static Status Corrupt() { return {SQLITE_CORRUPT, "database disk image is malformed"}; }
  // Page 1 does not carry the magic text and integer.
  static Status NotADatabase() { return {SQLITE_NOTADB, "file is encrypted or is not a database"}; }
  static Status IoError() { return {SQLITE_IOERR, "disk I/O error"}; }
  static Status Busy() { return {SQLITE_BUSY, "database is locked"}; }
  static Status CantOpen(const std::string& path) {
    return {SQLITE_CANTOPEN, "unable to open database: " + path};
  }
};

}  // namespace sqlite2

#endif  // SQLITE2_STATUS_H_
