#include "tests/sqlite2_writer/create_statements.h"

#include <variant>
#include <vector>

#include "sqlite2/sql/tokenizer.h"

namespace sqlite2::writer {
namespace {

// The first `count` tokens of `sql` that are neither space nor comment.
std::vector<sql::Token> LeadingTokens(std::string_view text, size_t count) {
  std::vector<sql::Token> tokens;
  for (size_t pos = 0; pos < text.size() && tokens.size() < count;) {
    const sql::Token token = sql::NextToken(text, pos);
    pos += token.length;
    if (token.kind != sql::TokenKind::kSpace && token.kind != sql::TokenKind::kComment) {
      tokens.push_back(token);
    }
  }
  return tokens;
}

bool IsName(const sql::Token& token) {
  return token.kind == sql::TokenKind::kId || token.kind == sql::TokenKind::kString ||
         token.kind == sql::TokenKind::kJoinKeyword || token.IsFallbackKeyword();
}

Status NotA(const char* kind, std::string_view text) {
  return Status::Error(SQLITE_ERROR,
                       std::string("not a ") + kind + " statement: " + std::string(text));
}

}  // namespace

Status DescribeTable(std::string_view text, sql::TableDefinition* out) {
  sql::Definition definition = sql::ParseCreateStatement(text);
  auto* table = std::get_if<sql::TableDefinition>(&definition);
  if (table == nullptr)
    return NotA("CREATE TABLE", text);
  *out = std::move(*table);
  return Status::Ok();
}

Status DescribeIndex(std::string_view text, sql::IndexDefinition* out, bool* unique) {
  sql::Definition definition = sql::ParseCreateStatement(text);
  auto* index = std::get_if<sql::IndexDefinition>(&definition);
  if (index == nullptr)
    return NotA("CREATE INDEX", text);
  *out = std::move(*index);
  const std::vector<sql::Token> tokens = LeadingTokens(text, 2);
  *unique = tokens.size() == 2 && tokens[1].Is("UNIQUE");
  return Status::Ok();
}

Status DescribeView(std::string_view text, std::string* name) {
  std::vector<sql::Token> tokens = LeadingTokens(text, 5);
  if (tokens.size() > 1 && (tokens[1].Is("TEMP") || tokens[1].Is("TEMPORARY"))) {
    tokens.erase(tokens.begin() + 1);
  }
  // CREATE VIEW name AS ...
  if (tokens.size() < 4 || !tokens[0].Is("CREATE") || !tokens[1].Is("VIEW") || !IsName(tokens[2]) ||
      !tokens[3].Is("AS")) {
    return NotA("CREATE VIEW", text);
  }
  *name = sql::Dequote(tokens[2].text);
  return Status::Ok();
}

}  // namespace sqlite2::writer
