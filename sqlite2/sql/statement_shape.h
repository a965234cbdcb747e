// Cutting a string of ';'-separated statements into statements, and
// finding the parameters of each: the single-quoted strings of its WHERE
// clause, which the statement cache (statement_cache.h) lets vary from one
// run of a statement to the next.
#ifndef SQLITE2_SQL_STATEMENT_SHAPE_H_
#define SQLITE2_SQL_STATEMENT_SHAPE_H_

#include <cstddef>
#include <string_view>
#include <vector>

namespace sqlite2::sql {

// Where the statement at or after `pos` of `sql` begins: past any ';',
// whitespace and comments. sql.size() when nothing else is left.
size_t StatementStart(std::string_view sql, size_t pos);

struct StatementShape {
  // From the statement's first token through its ';', or to the end of
  // the input.
  std::string_view text;
  // Whether the statement runs to the end of the input, with no ';'.
  bool to_end = true;
  // The parameters as written, quotes included, in order; views into
  // `text`.
  std::vector<std::string_view> parameters;
};

// The statement that begins at `begin` (a StatementStart()).
StatementShape ShapeStatement(std::string_view sql, size_t begin);

// The single-quoted string token at `pos` of `sql`, or the empty view when
// none starts there.
std::string_view ParameterAt(std::string_view sql, size_t pos);

}  // namespace sqlite2::sql

#endif  // SQLITE2_SQL_STATEMENT_SHAPE_H_
