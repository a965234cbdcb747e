// Reads ';'-separated SELECT statements one at a time, so that each one
// runs before the next is even parsed: rows of earlier statements reach
// the caller even when a later one is malformed.
//
// The statements understood:
//   SELECT * | item [, item]*  [FROM table [[AS] alias]]  [WHERE condition]
//   item:      value [[AS] alias] | table.*
//   value:     column | table.column | 'text' | "text" | number | -number | NULL
//   condition: value op value | value IS [NOT] NULL | value ISNULL | value NOTNULL
//              | NOT condition | condition AND condition | condition OR condition
//              | ( condition )
//   op:        = == <> != < <= > >=
// Anything else fails with `near "X": syntax error`, X being the token
// where the statement stopped making sense (at the end of the input, the
// last token read, whitespace and comments included), or with
// `unrecognized token: "X"` for bytes that form no token at all.
#ifndef SQLITE2_SQL_SELECT_PARSER_H_
#define SQLITE2_SQL_SELECT_PARSER_H_

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>

#include "sqlite2/sql/statement.h"
#include "sqlite2/sql/tokenizer.h"
#include "sqlite2/status.h"

namespace sqlite2::sql {

class StatementReader {
 public:
  // `sql` must outlive this object.
  explicit StatementReader(std::string_view sql) : sql_(sql) {}

  // The next statement, or nullopt at the end of the input. After an error
  // nothing more is parsed.
  Status Next(std::optional<SelectStatement>* statement);

 private:
  const Token& Peek();
  Token Take();
  bool PeekIsName();
  // Records a syntax error at `token` (or an unrecognized token); returns
  // nullptr so that parse functions can `return Fail(...)`.
  std::nullptr_t Fail(const Token& token);
  // Records that an expression nests deeper than the parser follows.
  std::nullptr_t TooDeep();
  bool failed() const { return !error_.ok(); }

  bool ParseResultColumns(SelectStatement* statement);
  std::optional<std::string> ParseAlias();
  std::unique_ptr<Expr> ParseOr();
  std::unique_ptr<Expr> ParseAnd();
  std::unique_ptr<Expr> ParseNot();
  std::unique_ptr<Expr> ParseEquality();
  std::unique_ptr<Expr> ParseRelational();
  std::unique_ptr<Expr> ParseUnary();
  std::unique_ptr<Expr> ParsePrimary();
  // The rest of a name whose first part, `first`, is taken: ".column", or
  // ".*" where `allow_star`.
  std::unique_ptr<Expr> ParseName(const Token& first, bool allow_star);
  // A condition over `left` and `right`; null when the tree grows too high.
  std::unique_ptr<Expr> MakeLogic(Expr::Kind kind, std::unique_ptr<Expr> left,
                                  std::unique_ptr<Expr> right);
  std::unique_ptr<Expr> MakeComparison(const Token& at, CompareOp op, std::unique_ptr<Expr> left,
                                       std::unique_ptr<Expr> right);
  // A literal made from `token`, which knows where it was written.
  std::unique_ptr<Expr> MakeLiteral(Expr::Kind kind, std::string value, const Token& token) const;
  // The text of `sql_` from the start of `first` to the end of the last
  // token taken.
  std::string SpanFrom(const Token& first) const;

  std::string_view sql_;
  size_t pos_ = 0;
  std::optional<Token> peeked_;
  std::string_view last_read_;  // the last token the tokenizer produced
  const char* last_taken_end_ = nullptr;
  int nesting_ = 0;  // parentheses, NOTs and signs the parser is inside
  Status error_;
};

}  // namespace sqlite2::sql

#endif  // SQLITE2_SQL_SELECT_PARSER_H_
