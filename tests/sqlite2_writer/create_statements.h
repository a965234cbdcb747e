// What the writer takes from the CREATE statements it stores: the engine's
// own schema parser for tables and indices, so the file describes exactly
// what the reader will make of it, plus the few facts that only a writer
// needs (whether an index is UNIQUE, a view's name).
#ifndef TESTS_SQLITE2_WRITER_CREATE_STATEMENTS_H_
#define TESTS_SQLITE2_WRITER_CREATE_STATEMENTS_H_

#include <string>
#include <string_view>

#include "sqlite2/sql/create_parser.h"
#include "sqlite2/status.h"

namespace sqlite2::writer {

// Each fails with SQLITE_ERROR when `sql` is not a statement of its kind
// that the library would load.
Status DescribeTable(std::string_view sql, sql::TableDefinition* out);
Status DescribeIndex(std::string_view sql, sql::IndexDefinition* out, bool* unique);
Status DescribeView(std::string_view sql, std::string* name);

}  // namespace sqlite2::writer

#endif  // TESTS_SQLITE2_WRITER_CREATE_STATEMENTS_H_
