// Building a database from SQL text: the statements a font manager's
// database (or a test's) is made of.
//
//   CREATE TABLE ... / CREATE [UNIQUE] INDEX ... / CREATE VIEW ...
//   INSERT INTO name VALUES(literal, ...)
//   BEGIN [TRANSACTION] / COMMIT [TRANSACTION] / END [TRANSACTION]
//
// separated by ';', with comments anywhere. A literal is a quoted string, a
// number kept exactly as written (a leading '-' kept, a '+' dropped, as the
// library stores them) or NULL.
#ifndef TESTS_SQLITE2_WRITER_SCRIPT_H_
#define TESTS_SQLITE2_WRITER_SCRIPT_H_

#include <string_view>

#include "sqlite2/status.h"
#include "tests/sqlite2_writer/database.h"

namespace sqlite2::writer {

// Runs `script` against `db` and stops at the first statement that fails,
// with "near "X": syntax error" for text it cannot read.
Status RunScript(std::string_view script, Database* db);

}  // namespace sqlite2::writer

#endif  // TESTS_SQLITE2_WRITER_SCRIPT_H_
