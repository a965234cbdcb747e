#include "sqlite2/status.h"

#include <iterator>

namespace sqlite2 {
namespace {

// The library's text for each code, indexed by the code.
const std::string& LibraryText(int rc) {
  static const std::string kTexts[] = {
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
  static const std::string kUnknown = "unknown error";
  if (rc < 0 || rc >= static_cast<int>(std::size(kTexts)))
    return kUnknown;
  return kTexts[rc];
}

}  // namespace

const char* ErrorText(int rc) {
  return LibraryText(rc).c_str();
}

const std::string& Status::message() const {
  static const std::string kNone;
  if (text_ != nullptr)
    return *text_;
  return rc == SQLITE_OK ? kNone : LibraryText(rc);
}

}  // namespace sqlite2
