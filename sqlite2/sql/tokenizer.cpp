#include "sqlite2/sql/tokenizer.h"

#include <algorithm>
#include <iterator>

namespace sqlite2::sql {
namespace {

constexpr std::string_view kKeywords[] = {
    "ABORT",     "AFTER",    "ALL",      "AND",       "AS",         "ASC",         "ATTACH",
    "BEFORE",    "BEGIN",    "BETWEEN",  "BY",        "CASCADE",    "CASE",        "CHECK",
    "CLUSTER",   "COLLATE",  "COMMIT",   "CONFLICT",  "CONSTRAINT", "COPY",        "CREATE",
    "CROSS",     "DATABASE", "DEFAULT",  "DEFERRED",  "DEFERRABLE", "DELETE",      "DELIMITERS",
    "DESC",      "DETACH",   "DISTINCT", "DROP",      "END",        "EACH",        "ELSE",
    "EXCEPT",    "EXPLAIN",  "FAIL",     "FOR",       "FOREIGN",    "FROM",        "FULL",
    "GLOB",      "GROUP",    "HAVING",   "IGNORE",    "IMMEDIATE",  "IN",          "INDEX",
    "INITIALLY", "INNER",    "INSERT",   "INSTEAD",   "INTERSECT",  "INTO",        "IS",
    "ISNULL",    "JOIN",     "KEY",      "LEFT",      "LIKE",       "LIMIT",       "MATCH",
    "NATURAL",   "NOT",      "NOTNULL",  "NULL",      "OF",         "OFFSET",      "ON",
    "OR",        "ORDER",    "OUTER",    "PRAGMA",    "PRIMARY",    "RAISE",       "REFERENCES",
    "REPLACE",   "RESTRICT", "RIGHT",    "ROLLBACK",  "ROW",        "SELECT",      "SET",
    "STATEMENT", "TABLE",    "TEMP",     "TEMPORARY", "THEN",       "TRANSACTION", "TRIGGER",
    "UNION",     "UNIQUE",   "UPDATE",   "USING",     "VACUUM",     "VALUES",      "VIEW",
    "WHEN",      "WHERE",
};

constexpr std::string_view kJoinKeywords[] = {"CROSS",   "FULL",  "INNER", "LEFT",
                                              "NATURAL", "OUTER", "RIGHT"};

// Keywords that the grammar turns into plain names wherever a keyword
// cannot stand, so that columns may be called "key", "desc" or "temp".
constexpr std::string_view kFallbackKeywords[] = {
    "ABORT",     "AFTER",     "ASC",       "ATTACH",   "BEFORE",   "BEGIN",      "CASCADE",
    "CLUSTER",   "CONFLICT",  "COPY",      "DATABASE", "DEFERRED", "DELIMITERS", "DESC",
    "DETACH",    "EACH",      "END",       "EXPLAIN",  "FAIL",     "FOR",        "GLOB",
    "IGNORE",    "IMMEDIATE", "INITIALLY", "INSTEAD",  "LIKE",     "MATCH",      "KEY",
    "OF",        "OFFSET",    "PRAGMA",    "RAISE",    "REPLACE",  "RESTRICT",   "ROW",
    "STATEMENT", "TEMP",      "TRIGGER",
};

bool IsDigit(unsigned char c) {
  return c >= '0' && c <= '9';
}
// What C's isspace() accepts; a whitespace run may only start with the
// first five.
bool IsSpace(unsigned char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}
bool IsIdChar(unsigned char c) {
  return c >= 0x80 || IsDigit(c) || c == '_' || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

template <size_t N>
bool Contains(const std::string_view (&words)[N], std::string_view word) {
  return std::any_of(std::begin(words), std::end(words),
                     [word](std::string_view w) { return EqualsIgnoringCase(w, word); });
}

TokenKind WordKind(std::string_view word) {
  if (Contains(kJoinKeywords, word))
    return TokenKind::kJoinKeyword;
  if (Contains(kKeywords, word))
    return TokenKind::kKeyword;
  return TokenKind::kId;
}

// The byte at `pos`, or NUL past the end, so that the scanning below reads
// like the C it mirrors without ever leaving the input.
unsigned char At(std::string_view s, size_t pos) {
  return pos < s.size() ? static_cast<unsigned char>(s[pos]) : 0;
}

}  // namespace

bool CanStartSkippable(unsigned char c) {
  // A whitespace run starts with any of isspace()'s bytes but '\v'.
  return (IsSpace(c) && c != '\v') || c == '-' || c == '/' || c == ';';
}

size_t QuotedLength(std::string_view z) {
  const unsigned char quote = At(z, 0);
  size_t i = 1;
  for (; At(z, i) != 0; ++i) {
    if (At(z, i) == quote) {
      if (At(z, i + 1) != quote)
        break;
      ++i;
    }
  }
  if (At(z, i) != 0)
    ++i;
  return i;
}

namespace {

// The length of the token at the start of `z`, and its kind.
size_t Scan(std::string_view z, TokenKind* kind) {
  const unsigned char c = At(z, 0);
  size_t i = 1;
  switch (c) {
    case ' ':
    case '\t':
    case '\n':
    case '\f':
    case '\r':
      while (IsSpace(At(z, i)))
        ++i;
      *kind = TokenKind::kSpace;
      return i;
    case '-':
      if (At(z, 1) == '-') {
        for (i = 2; At(z, i) != 0 && At(z, i) != '\n'; ++i) {
        }
        *kind = TokenKind::kComment;
        return i;
      }
      *kind = TokenKind::kMinus;
      return 1;
    case '(':
      *kind = TokenKind::kLeftParen;
      return 1;
    case ')':
      *kind = TokenKind::kRightParen;
      return 1;
    case ';':
      *kind = TokenKind::kSemi;
      return 1;
    case '+':
      *kind = TokenKind::kPlus;
      return 1;
    case '*':
      *kind = TokenKind::kStar;
      return 1;
    case '/':
      if (At(z, 1) != '*') {
        *kind = TokenKind::kSlash;
        return 1;
      }
      // The search for "*/" starts past "/*x", so "/*/" does not close.
      for (i = 3; At(z, i) != 0 && (At(z, i) != '/' || At(z, i - 1) != '*'); ++i) {
      }
      if (At(z, i) != 0)
        ++i;
      *kind = TokenKind::kComment;
      return std::min(i, z.size());
    case '%':
      *kind = TokenKind::kRemainder;
      return 1;
    case '=':
      *kind = TokenKind::kEq;
      return At(z, 1) == '=' ? 2 : 1;
    case '<':
      switch (At(z, 1)) {
        case '=':
          *kind = TokenKind::kLe;
          return 2;
        case '>':
          *kind = TokenKind::kNe;
          return 2;
        case '<':
          *kind = TokenKind::kShiftLeft;
          return 2;
        default:
          *kind = TokenKind::kLt;
          return 1;
      }
    case '>':
      switch (At(z, 1)) {
        case '=':
          *kind = TokenKind::kGe;
          return 2;
        case '>':
          *kind = TokenKind::kShiftRight;
          return 2;
        default:
          *kind = TokenKind::kGt;
          return 1;
      }
    case '!':
      *kind = At(z, 1) == '=' ? TokenKind::kNe : TokenKind::kIllegal;
      return 2;
    case '|':
      if (At(z, 1) == '|') {
        *kind = TokenKind::kConcat;
        return 2;
      }
      *kind = TokenKind::kBitOr;
      return 1;
    case ',':
      *kind = TokenKind::kComma;
      return 1;
    case '&':
      *kind = TokenKind::kBitAnd;
      return 1;
    case '~':
      *kind = TokenKind::kBitNot;
      return 1;
    case '.':
      *kind = TokenKind::kDot;
      return 1;
    case '?':
      *kind = TokenKind::kVariable;
      return 1;
    case '\'':
    case '"':
      *kind = TokenKind::kString;
      return QuotedLength(z);
    case '[':
      while (At(z, i) != 0 && At(z, i - 1) != ']')
        ++i;
      *kind = TokenKind::kId;
      return i;
    default:
      break;
  }
  if (IsDigit(c)) {
    *kind = TokenKind::kInteger;
    while (IsDigit(At(z, i)))
      ++i;
    if (At(z, i) == '.' && IsDigit(At(z, i + 1))) {
      i += 2;
      while (IsDigit(At(z, i)))
        ++i;
      *kind = TokenKind::kFloat;
    }
    const unsigned char e = At(z, i), after = At(z, i + 1);
    if ((e == 'e' || e == 'E') &&
        (IsDigit(after) || ((after == '+' || after == '-') && IsDigit(At(z, i + 2))))) {
      i += 2;
      while (IsDigit(At(z, i)))
        ++i;
      *kind = TokenKind::kFloat;
    }
    return i;
  }
  if (IsIdChar(c)) {
    while (IsIdChar(At(z, i)))
      ++i;
    *kind = WordKind(z.substr(0, i));
    return i;
  }
  *kind = TokenKind::kIllegal;
  return 1;
}

}  // namespace

bool EqualsIgnoringCase(std::string_view a, std::string_view b) {
  auto lower = [](unsigned char c) { return c >= 'A' && c <= 'Z' ? c + 32 : c; };
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [&](char x, char y) {
           return lower(static_cast<unsigned char>(x)) == lower(static_cast<unsigned char>(y));
         });
}

bool Token::Is(std::string_view keyword) const {
  return (kind == TokenKind::kKeyword || kind == TokenKind::kJoinKeyword) &&
         EqualsIgnoringCase(text, keyword);
}

bool Token::IsFallbackKeyword() const {
  return kind == TokenKind::kKeyword && Contains(kFallbackKeywords, text);
}

Token NextToken(std::string_view sql, size_t pos) {
  const std::string_view rest = sql.substr(pos);
  Token token;
  token.length = Scan(rest, &token.kind);
  token.text = rest.substr(0, std::min(token.length, rest.size()));
  return token;
}

std::string Dequote(std::string_view text) {
  if (text.empty())
    return std::string(text);
  char quote = text[0];
  if (quote == '[')
    quote = ']';
  else if (quote != '\'' && quote != '"')
    return std::string(text);
  // Rewrites the buffer in place like the library; when the closing quote
  // is missing, the bytes past the rewritten part stay as they were.
  std::string z(text);
  size_t j = 0;
  for (size_t i = 1; i < z.size(); ++i) {
    if (z[i] == quote) {
      if (i + 1 < z.size() && z[i + 1] == quote) {
        z[j++] = quote;
        ++i;
      } else {
        z.resize(j);
        return z;
      }
    } else {
      z[j++] = z[i];
    }
  }
  return z;
}

std::string_view Dequote(std::string_view text, std::string* storage) {
  if (text.empty() || (text[0] != '\'' && text[0] != '"' && text[0] != '['))
    return text;
  const char quote = text[0] == '[' ? ']' : text[0];
  if (text.size() >= 2 && text.back() == quote) {
    const std::string_view inside = text.substr(1, text.size() - 2);
    if (inside.find(quote) == std::string_view::npos)
      return inside;
  }
  *storage = Dequote(text);
  return *storage;
}

}  // namespace sqlite2::sql
