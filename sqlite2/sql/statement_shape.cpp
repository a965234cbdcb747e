#include "sqlite2/sql/statement_shape.h"

#include <algorithm>

#include "sqlite2/sql/tokenizer.h"

namespace sqlite2::sql {
namespace {

// The token at `pos`, never claiming bytes past the end of `sql`.
Token TokenAt(std::string_view sql, size_t pos) {
  Token token = NextToken(sql, pos);
  token.length = std::min(token.length, sql.size() - pos);
  return token;
}

bool IsParameter(const Token& token) {
  return token.kind == TokenKind::kString && token.text[0] == '\'';
}

}  // namespace

size_t StatementStart(std::string_view sql, size_t pos) {
  while (pos < sql.size() && CanStartSkippable(static_cast<unsigned char>(sql[pos]))) {
    const Token token = TokenAt(sql, pos);
    if (token.kind != TokenKind::kSpace && token.kind != TokenKind::kComment &&
        token.kind != TokenKind::kSemi) {
      break;
    }
    pos += token.length;
  }
  return pos;
}

StatementShape ShapeStatement(std::string_view sql, size_t begin) {
  StatementShape shape;
  size_t pos = begin;
  bool in_where = false;
  while (pos < sql.size()) {
    const Token token = TokenAt(sql, pos);
    if (in_where && IsParameter(token))
      shape.parameters.push_back(sql.substr(pos, token.length));
    in_where = in_where || token.Is("WHERE");
    pos += token.length;
    if (token.kind == TokenKind::kSemi) {
      shape.to_end = false;
      break;
    }
  }
  shape.text = sql.substr(begin, pos - begin);
  return shape;
}

std::string_view ParameterAt(std::string_view sql, size_t pos) {
  if (pos >= sql.size() || sql[pos] != '\'')
    return {};
  return sql.substr(pos, QuotedLength(sql.substr(pos)));
}

}  // namespace sqlite2::sql
