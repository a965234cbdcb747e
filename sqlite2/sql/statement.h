// SELECT statements as parsed, before their names are resolved against
// the schema.
#ifndef SQLITE2_SQL_STATEMENT_H_
#define SQLITE2_SQL_STATEMENT_H_

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sqlite2/sql/compare.h"

namespace sqlite2::sql {

struct Expr {
  enum class Kind {
    // Values.
    kName,    // a column, or the rowid
    kString,  // a quoted literal
    kNumber,  // an unquoted number
    kNull,
    // Conditions.
    kCompare,
    kIsNull,
    kNotNull,
    kAnd,
    kOr,
    kNot,
  };

  Kind kind = Kind::kNull;
  // kName: the name without quotes; kString: the literal's text; kNumber:
  // the number as written, with a leading '-' when negated.
  std::string value;
  // kName written as table.column: the table part, without quotes.
  std::optional<std::string> qualifier;
  // kString written with double quotes: it names a column when the table
  // has one of that name.
  bool double_quoted = false;
  // kName: how the name was written, for "no such column" messages.
  std::string written;
  // The whole expression as typed; an unnamed result column takes it.
  std::string span;
  // kString, kNumber, kNull: where the literal starts in the statement's
  // text, which lets a cached statement take new values for its literals.
  size_t offset = 0;

  CompareOp op = CompareOp::kEq;  // kCompare
  std::unique_ptr<Expr> left;     // kCompare, kAnd, kOr; the operand of the others
  std::unique_ptr<Expr> right;    // kCompare, kAnd, kOr
  // Levels of the tree from here down, this one included (a value: 1).
  // Every walk over the tree recurses once per level, so the parser bounds it.
  int height = 1;

  bool IsValue() const { return kind <= Kind::kNull; }
};

struct ResultColumn {
  // '*', or table.* (with `all_of` naming the table).
  bool all = false;
  std::optional<std::string> all_of;
  std::unique_ptr<Expr> expr;
  std::optional<std::string> alias;
};

struct SelectStatement {
  std::vector<ResultColumn> columns;
  // No table: the statement yields one row of literals.
  std::optional<std::string> table;
  std::optional<std::string> table_alias;
  std::unique_ptr<Expr> where;
};

}  // namespace sqlite2::sql

#endif  // SQLITE2_SQL_STATEMENT_H_
