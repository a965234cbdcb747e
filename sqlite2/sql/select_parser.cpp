#include "sqlite2/sql/select_parser.h"

#include <algorithm>
#include <utility>

namespace sqlite2::sql {
namespace {

using Kind = Expr::Kind;

bool IsNameToken(const Token& t) {
  return t.kind == TokenKind::kId || t.kind == TokenKind::kJoinKeyword ||
         t.kind == TokenKind::kString || t.IsFallbackKeyword();
}

std::unique_ptr<Expr> MakeValue(Kind kind, std::string value, std::string span) {
  auto e = std::make_unique<Expr>();
  e->kind = kind;
  e->value = std::move(value);
  e->span = std::move(span);
  return e;
}

// How deep an expression may nest: parentheses, NOT and signs, each of which
// the parser descends into, and conditions combined with AND and OR, which
// make the tree that later walks descend into. Both bounds keep the
// recursion well inside any thread's stack, sanitizers included; statements
// written by people stay far below them.
constexpr int kMaxNesting = 256;
constexpr int kMaxHeight = 1000;

// One level of nesting, counted for as long as it lives.
class NestingLevel {
 public:
  explicit NestingLevel(int* nesting) : nesting_(nesting) { ++*nesting_; }
  NestingLevel(const NestingLevel&) = delete;
  NestingLevel& operator=(const NestingLevel&) = delete;
  ~NestingLevel() { --*nesting_; }

 private:
  int* nesting_;
};

std::optional<CompareOp> EqualityOp(TokenKind kind) {
  if (kind == TokenKind::kEq)
    return CompareOp::kEq;
  if (kind == TokenKind::kNe)
    return CompareOp::kNe;
  return std::nullopt;
}

std::optional<CompareOp> RelationalOp(TokenKind kind) {
  switch (kind) {
    case TokenKind::kLt:
      return CompareOp::kLt;
    case TokenKind::kLe:
      return CompareOp::kLe;
    case TokenKind::kGt:
      return CompareOp::kGt;
    case TokenKind::kGe:
      return CompareOp::kGe;
    default:
      return std::nullopt;
  }
}

}  // namespace

const Token& StatementReader::Peek() {
  while (!peeked_) {
    if (pos_ >= sql_.size()) {
      Token end;
      end.kind = TokenKind::kEnd;
      end.text = last_read_;
      peeked_ = end;
      break;
    }
    Token token = NextToken(sql_, pos_);
    pos_ += token.length;
    last_read_ = token.text;
    if (token.kind != TokenKind::kSpace && token.kind != TokenKind::kComment)
      peeked_ = token;
  }
  return *peeked_;
}

Token StatementReader::Take() {
  Token token = Peek();
  if (token.kind != TokenKind::kEnd) {
    peeked_.reset();
    last_taken_end_ = token.text.data() + token.text.size();
  }
  return token;
}

bool StatementReader::PeekIsName() {
  return IsNameToken(Peek());
}

std::nullptr_t StatementReader::TooDeep() {
  if (!failed())
    error_ = Status::Error(SQLITE_ERROR, "parser stack overflow");
  return nullptr;
}

std::unique_ptr<Expr> StatementReader::MakeLogic(Kind kind, std::unique_ptr<Expr> left,
                                                 std::unique_ptr<Expr> right) {
  auto e = std::make_unique<Expr>();
  e->kind = kind;
  e->height = 1 + std::max(left ? left->height : 0, right ? right->height : 0);
  if (e->height > kMaxHeight)
    return TooDeep();
  e->left = std::move(left);
  e->right = std::move(right);
  return e;
}

std::nullptr_t StatementReader::Fail(const Token& token) {
  if (failed())
    return nullptr;
  std::string text(token.text);
  if (token.kind == TokenKind::kIllegal) {
    // A '!' at the very end also claims the terminating NUL, which cuts
    // the message short before its closing quote.
    const bool cut = token.length > token.text.size();
    error_ = Status::Error(SQLITE_ERROR, "unrecognized token: \"" + text + (cut ? "" : "\""));
  } else {
    error_ = Status::Error(SQLITE_ERROR, "near \"" + text + "\": syntax error");
  }
  return nullptr;
}

std::unique_ptr<Expr> StatementReader::MakeLiteral(Expr::Kind kind, std::string value,
                                                   const Token& token) const {
  auto e = MakeValue(kind, std::move(value), std::string(token.text));
  e->offset = static_cast<size_t>(token.text.data() - sql_.data());
  return e;
}

std::string StatementReader::SpanFrom(const Token& first) const {
  const char* begin = first.text.data();
  return std::string(begin, static_cast<size_t>(std::max(last_taken_end_, begin) - begin));
}

Status StatementReader::Next(std::optional<SelectStatement>* out) {
  out->reset();
  if (failed())
    return error_;
  while (Peek().kind == TokenKind::kSemi)
    Take();
  if (Peek().kind == TokenKind::kEnd)
    return Status::Ok();
  if (!Peek().Is("SELECT")) {
    Fail(Peek());
    return error_;
  }
  Take();

  SelectStatement statement;
  if (!ParseResultColumns(&statement))
    return error_;
  if (Peek().Is("FROM")) {
    Take();
    if (!PeekIsName()) {
      Fail(Peek());
      return error_;
    }
    statement.table = Dequote(Take().text);
    statement.table_alias = ParseAlias();
    if (failed())
      return error_;
  }
  if (Peek().Is("WHERE")) {
    Take();
    statement.where = ParseOr();
    if (failed())
      return error_;
    if (statement.where->IsValue()) {
      Fail(Peek());
      return error_;
    }
  }
  const Token& end = Peek();
  if (end.kind == TokenKind::kSemi) {
    Take();
  } else if (end.kind != TokenKind::kEnd) {
    Fail(end);
    return error_;
  }
  *out = std::move(statement);
  return Status::Ok();
}

bool StatementReader::ParseResultColumns(SelectStatement* statement) {
  do {
    ResultColumn column;
    const Token first = Peek();
    if (first.kind == TokenKind::kStar) {
      Take();
      column.all = true;
    } else {
      // A bare word may start table.*, which nothing but a result column
      // can be.
      const bool word = first.kind != TokenKind::kString && IsNameToken(first);
      column.expr = word ? (Take(), ParseName(first, /*allow_star=*/true)) : ParseUnary();
      if (failed())
        return false;
      if (column.expr->kind == Kind::kName && column.expr->value == "*") {
        column.all = true;
        column.all_of = column.expr->qualifier;
        column.expr.reset();
      } else {
        column.alias = ParseAlias();
        if (failed())
          return false;
      }
    }
    statement->columns.push_back(std::move(column));
  } while (Peek().kind == TokenKind::kComma && (Take(), true));
  return true;
}

std::optional<std::string> StatementReader::ParseAlias() {
  if (Peek().Is("AS")) {
    Take();
    if (!PeekIsName()) {
      Fail(Peek());
      return std::nullopt;
    }
    return Dequote(Take().text);
  }
  // Without AS only a plain identifier or a string can be an alias.
  const TokenKind kind = Peek().kind;
  if (kind == TokenKind::kId || kind == TokenKind::kString || Peek().IsFallbackKeyword())
    return Dequote(Take().text);
  return std::nullopt;
}

std::unique_ptr<Expr> StatementReader::ParseOr() {
  std::unique_ptr<Expr> left = ParseAnd();
  while (left && Peek().Is("OR")) {
    const Token op = Take();
    if (left->IsValue())
      return Fail(op);
    std::unique_ptr<Expr> right = ParseAnd();
    if (!right)
      return nullptr;
    if (right->IsValue())
      return Fail(Peek());
    left = MakeLogic(Kind::kOr, std::move(left), std::move(right));
  }
  return left;
}

std::unique_ptr<Expr> StatementReader::ParseAnd() {
  std::unique_ptr<Expr> left = ParseNot();
  while (left && Peek().Is("AND")) {
    const Token op = Take();
    if (left->IsValue())
      return Fail(op);
    std::unique_ptr<Expr> right = ParseNot();
    if (!right)
      return nullptr;
    if (right->IsValue())
      return Fail(Peek());
    left = MakeLogic(Kind::kAnd, std::move(left), std::move(right));
  }
  return left;
}

std::unique_ptr<Expr> StatementReader::ParseNot() {
  if (!Peek().Is("NOT"))
    return ParseEquality();
  Take();
  NestingLevel level(&nesting_);
  if (nesting_ > kMaxNesting)
    return TooDeep();
  std::unique_ptr<Expr> operand = ParseNot();
  if (!operand)
    return nullptr;
  if (operand->IsValue())
    return Fail(Peek());
  return MakeLogic(Kind::kNot, std::move(operand), nullptr);
}

std::unique_ptr<Expr> StatementReader::ParseEquality() {
  std::unique_ptr<Expr> left = ParseRelational();
  while (left) {
    const Token& next = Peek();
    if (std::optional<CompareOp> op = EqualityOp(next.kind)) {
      const Token at = Take();
      if (!left->IsValue())
        return Fail(at);
      left = MakeComparison(Peek(), *op, std::move(left), ParseRelational());
      continue;
    }
    Kind test;
    if (next.Is("ISNULL")) {
      test = Kind::kIsNull;
    } else if (next.Is("NOTNULL")) {
      test = Kind::kNotNull;
    } else if (next.Is("IS") || next.Is("NOT")) {
      // "x IS NULL", "x IS NOT NULL" and "x NOT NULL".
      const bool is = next.Is("IS");
      Take();
      const bool negated = !is || (Peek().Is("NOT") && (Take(), true));
      if (!Peek().Is("NULL"))
        return Fail(Peek());
      test = negated ? Kind::kNotNull : Kind::kIsNull;
    } else {
      break;
    }
    const Token at = Take();
    if (!left->IsValue())
      return Fail(at);
    left = MakeLogic(test, std::move(left), nullptr);
  }
  return left;
}

std::unique_ptr<Expr> StatementReader::ParseRelational() {
  std::unique_ptr<Expr> left = ParseUnary();
  while (left) {
    std::optional<CompareOp> op = RelationalOp(Peek().kind);
    if (!op)
      break;
    const Token at = Take();
    if (!left->IsValue())
      return Fail(at);
    left = MakeComparison(Peek(), *op, std::move(left), ParseUnary());
  }
  return left;
}

std::unique_ptr<Expr> StatementReader::MakeComparison(const Token& at, CompareOp op,
                                                      std::unique_ptr<Expr> left,
                                                      std::unique_ptr<Expr> right) {
  if (!right)
    return nullptr;
  if (!right->IsValue())
    return Fail(at);
  auto e = MakeLogic(Kind::kCompare, std::move(left), std::move(right));
  if (e)
    e->op = op;
  return e;
}

std::unique_ptr<Expr> StatementReader::ParseUnary() {
  const Token first = Peek();
  if (first.kind != TokenKind::kMinus && first.kind != TokenKind::kPlus)
    return ParsePrimary();
  Take();
  NestingLevel level(&nesting_);
  if (nesting_ > kMaxNesting)
    return TooDeep();
  const Token operand_start = Peek();
  std::unique_ptr<Expr> operand = ParseUnary();
  if (!operand)
    return nullptr;
  if (first.kind == TokenKind::kMinus) {
    // Only a negated number has a value here: "-" and the digits as written.
    if (operand->kind != Kind::kNumber || operand->value.starts_with('-'))
      return Fail(operand_start);
    operand->value.insert(operand->value.begin(), '-');
  }
  operand->span = SpanFrom(first);
  return operand;
}

std::unique_ptr<Expr> StatementReader::ParsePrimary() {
  const Token first = Peek();
  switch (first.kind) {
    case TokenKind::kLeftParen: {
      Take();
      NestingLevel level(&nesting_);
      if (nesting_ > kMaxNesting)
        return TooDeep();
      std::unique_ptr<Expr> inner = ParseOr();
      if (!inner)
        return nullptr;
      if (Peek().kind != TokenKind::kRightParen)
        return Fail(Peek());
      Take();
      inner->span = SpanFrom(first);
      return inner;
    }
    case TokenKind::kInteger:
    case TokenKind::kFloat:
      Take();
      return MakeLiteral(Kind::kNumber, std::string(first.text), first);
    case TokenKind::kString:
      Take();
      if (Peek().kind == TokenKind::kDot)
        return ParseName(first, /*allow_star=*/false);
      {
        auto e = MakeLiteral(Kind::kString, Dequote(first.text), first);
        e->double_quoted = first.text[0] == '"';
        return e;
      }
    default:
      break;
  }
  if (first.Is("NULL")) {
    Take();
    return MakeLiteral(Kind::kNull, "", first);
  }
  if (!IsNameToken(first))
    return Fail(first);
  Take();
  return ParseName(first, /*allow_star=*/false);
}

std::unique_ptr<Expr> StatementReader::ParseName(const Token& first, bool allow_star) {
  auto e = MakeValue(Kind::kName, Dequote(first.text), "");
  e->written = std::string(first.text);
  if (Peek().kind == TokenKind::kDot) {
    Take();
    const Token second = Peek();
    if (second.kind == TokenKind::kStar && allow_star) {
      // ParseResultColumns recognises table.* by the value "*".
      Take();
      e->qualifier = std::move(e->value);
      e->value = std::string(1, '*');
    } else {
      if (!IsNameToken(second))
        return Fail(second);
      Take();
      e->qualifier = std::move(e->value);
      e->value = Dequote(second.text);
      e->written.append(".").append(second.text);
    }
  }
  e->span = SpanFrom(first);
  return e;
}

}  // namespace sqlite2::sql
