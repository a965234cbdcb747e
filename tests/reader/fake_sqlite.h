// A scripted stand-in for the database library's classic interface, linked
// instead of the engine so the reader's statements and its handling of
// every kind of answer can be checked exactly.
#ifndef TESTS_READER_FAKE_SQLITE_H_
#define TESTS_READER_FAKE_SQLITE_H_

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "sqlite2/sqlite.h"

namespace fake_sqlite {

using Column = std::pair<std::string, std::optional<std::string>>;

struct Answer {
  Answer(std::vector<std::vector<Column>> rows = {}, int rc = SQLITE_OK,
         std::optional<std::string> error = std::nullopt)
      : rows(std::move(rows)), rc(rc), error(std::move(error)) {}

  std::vector<std::vector<Column>> rows;
  int rc;  // after the rows
  std::optional<std::string> error;
};

// Forgets every answer and statement.
void Reset();
// What a statement (exactly as run) answers; any other statement gives no rows.
void SetAnswer(const std::string& statement, Answer answer);
// Every statement run since the last Reset, in order.
const std::vector<std::string>& Statements();
// The one handle sqlite_open hands out.
::sqlite* Handle();

}  // namespace fake_sqlite

#endif  // TESTS_READER_FAKE_SQLITE_H_
