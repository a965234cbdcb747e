#include "tests/sqlite2_writer/script.h"

#include <vector>

#include "sqlite2/sql/tokenizer.h"

namespace sqlite2::writer {
namespace {

using sql::Token;
using sql::TokenKind;

struct Placed {
  Token token;
  size_t pos;  // where it starts in the script
};

Status SyntaxError(const Token& near) {
  return Status::Error(SQLITE_ERROR, "near \"" + std::string(near.text) + "\": syntax error");
}

// One statement's tokens, without spaces, comments and the final ';'.
class Statement {
 public:
  Statement(std::string_view script, std::vector<Placed> tokens)
      : script_(script), tokens_(std::move(tokens)) {}

  Status Run(Database* db);

 private:
  const Token& Peek() const { return next_ < tokens_.size() ? tokens_[next_].token : end_; }
  bool TakeIf(std::string_view keyword) { return Peek().Is(keyword) && (++next_, true); }
  bool TakeIf(TokenKind kind) { return Peek().kind == kind && (++next_, true); }
  // The statement as written, from its first token to its last.
  std::string_view Text() const {
    const Placed& last = tokens_.back();
    const size_t end = std::min(script_.size(), last.pos + last.token.length);
    return script_.substr(tokens_.front().pos, end - tokens_.front().pos);
  }
  Status Create(Database* db);
  Status Insert(Database* db);
  bool TakeLiteral(Value* value);

  std::string_view script_;
  std::vector<Placed> tokens_;
  size_t next_ = 0;
  Token end_{TokenKind::kEnd, "", 0};
};

Status Statement::Run(Database* db) {
  if (TakeIf("CREATE"))
    return Create(db);
  if (TakeIf("INSERT"))
    return Insert(db);
  if (TakeIf("BEGIN") || TakeIf("COMMIT") || TakeIf("END")) {
    TakeIf("TRANSACTION");
    return next_ == tokens_.size() ? Status::Ok() : SyntaxError(Peek());
  }
  return SyntaxError(Peek());
}

Status Statement::Create(Database* db) {
  TakeIf("TEMP") || TakeIf("TEMPORARY");
  TakeIf("UNIQUE");
  if (TakeIf("TABLE"))
    return db->CreateTable(Text());
  if (TakeIf("INDEX"))
    return db->CreateIndex(Text());
  if (TakeIf("VIEW"))
    return db->CreateView(Text());
  return SyntaxError(Peek());
}

Status Statement::Insert(Database* db) {
  if (!TakeIf("INTO"))
    return SyntaxError(Peek());
  const Token& name = Peek();
  if (name.kind != TokenKind::kId && name.kind != TokenKind::kString && !name.IsFallbackKeyword()) {
    return SyntaxError(name);
  }
  ++next_;
  if (!TakeIf("VALUES") || !TakeIf(TokenKind::kLeftParen))
    return SyntaxError(Peek());
  Row row;
  do {
    if (!TakeLiteral(&row.emplace_back()))
      return SyntaxError(Peek());
  } while (TakeIf(TokenKind::kComma));
  if (!TakeIf(TokenKind::kRightParen) || next_ != tokens_.size())
    return SyntaxError(Peek());
  return db->Insert(sql::Dequote(name.text), std::move(row));
}

bool Statement::TakeLiteral(Value* value) {
  if (TakeIf("NULL")) {
    *value = std::nullopt;
    return true;
  }
  if (Peek().kind == TokenKind::kString) {
    *value = sql::Dequote(Peek().text);
    ++next_;
    return true;
  }
  std::string sign;
  if (TakeIf(TokenKind::kMinus)) {
    sign = "-";
  } else {
    TakeIf(TokenKind::kPlus);
  }
  if (Peek().kind != TokenKind::kInteger && Peek().kind != TokenKind::kFloat)
    return false;
  *value = sign + std::string(Peek().text);
  ++next_;
  return true;
}

}  // namespace

Status RunScript(std::string_view script, Database* db) {
  std::vector<Placed> tokens;
  for (size_t pos = 0; pos <= script.size();) {
    const bool at_end = pos == script.size();
    const Token token = at_end ? Token{TokenKind::kSemi, ";", 1} : sql::NextToken(script, pos);
    if (token.kind == TokenKind::kSemi) {
      if (!tokens.empty()) {
        if (Status status = Statement(script, std::move(tokens)).Run(db); !status.ok()) {
          return status;
        }
      }
      tokens.clear();
    } else if (token.kind == TokenKind::kIllegal) {
      return Status::Error(SQLITE_ERROR, "unrecognized token: \"" + std::string(token.text) + "\"");
    } else if (token.kind != TokenKind::kSpace && token.kind != TokenKind::kComment) {
      tokens.push_back({token, pos});
    }
    pos += token.length;
  }
  return Status::Ok();
}

}  // namespace sqlite2::writer
