// The engine's error type: an SQLite return code and the text the real
// library gives for it, carried from the page layer up to the C interface.
//
// Every lookup passes a few dozen of these up its call chain, nearly all of
// them OK, so a status is a code and a null pointer: only a text other than
// the library's own text for the code (ErrorText()) is allocated.
#ifndef SQLITE2_STATUS_H_
#define SQLITE2_STATUS_H_

#include <memory>
#include <string>
#include <utility>

#include "sqlite2/sqlite.h"

namespace sqlite2 {

// The library's text for return code `rc`, as sqlite_error_string() gives it.
const char* ErrorText(int rc);

class Status {
 public:
  int rc = SQLITE_OK;

  Status() = default;
  Status(const Status& other) : rc(other.rc), text_(Copy(other.text_)) {}
  Status& operator=(const Status& other) {
    if (this != &other) {
      rc = other.rc;
      text_ = Copy(other.text_);
    }
    return *this;
  }
  Status(Status&&) noexcept = default;
  Status& operator=(Status&&) noexcept = default;

  bool ok() const { return rc == SQLITE_OK; }
  // The error text: "" when OK, the text given to Error(), else the
  // library's text for the code.
  const std::string& message() const;

  static Status Ok() { return {}; }
  static Status Error(int rc, std::string message) {
    return Status(rc, std::make_unique<const std::string>(std::move(message)));
  }

  // Any structural damage found while reading the file.
  static Status Corrupt() { return Status(SQLITE_CORRUPT, nullptr); }
  // Page 1 does not carry the magic text and integer.
  static Status NotADatabase() { return Status(SQLITE_NOTADB, nullptr); }
  static Status IoError() { return Status(SQLITE_IOERR, nullptr); }
  static Status Busy() { return Status(SQLITE_BUSY, nullptr); }
  static Status CantOpen(const std::string& path) {
    return Error(SQLITE_CANTOPEN, "unable to open database: " + path);
  }

 private:
  Status(int code, std::unique_ptr<const std::string> text) : rc(code), text_(std::move(text)) {}
  static std::unique_ptr<const std::string> Copy(const std::unique_ptr<const std::string>& text) {
    return text ? std::make_unique<const std::string>(*text) : nullptr;
  }

  std::unique_ptr<const std::string> text_;  // null: the library's text for rc
};

}  // namespace sqlite2

#endif  // SQLITE2_STATUS_H_
