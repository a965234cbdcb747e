// Splitting SQL text into tokens, with the 2.8 library's quirks kept, since
// they decide both results and error texts:
//  - strings are '...' or "..." with the quote doubled inside; an
//    unterminated one runs to the end of the input;
//  - identifiers are bare words (letters, digits, '_' and every byte from
//    0x80 up), [...] or the quoted forms above;
//  - whitespace and comments are tokens too: an error at the end of the
//    input quotes the last token read, whatever it was;
//  - a byte that starts no token is a one-byte illegal token, except '!'
//    not followed by '=', which takes the next byte along.
#ifndef SQLITE2_SQL_TOKENIZER_H_
#define SQLITE2_SQL_TOKENIZER_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace sqlite2::sql {

enum class TokenKind {
  kSpace,
  kComment,
  kIllegal,
  kSemi,
  kLeftParen,
  kRightParen,
  kComma,
  kDot,
  kStar,
  kPlus,
  kMinus,
  kSlash,
  kRemainder,
  kConcat,
  kBitAnd,
  kBitOr,
  kBitNot,
  kShiftLeft,
  kShiftRight,
  kEq,
  kNe,
  kLt,
  kLe,
  kGt,
  kGe,
  kVariable,
  kString,       // '...' or "..."
  kId,           // a bare word that is no keyword, or [...]
  kKeyword,      // a reserved word
  kJoinKeyword,  // CROSS, FULL, INNER, LEFT, NATURAL, OUTER, RIGHT: usable as names
  kInteger,
  kFloat,
  // Not produced by NextToken(): the parser's mark for the end of the
  // input, carrying the text of the last token read before it.
  kEnd,
};

struct Token {
  TokenKind kind = TokenKind::kIllegal;
  // The token as written. An illegal '!' at the very end of the input
  // claims one byte past it; that byte is not part of the text.
  std::string_view text;
  // The token claims this many bytes of the input (text.size() but for the
  // '!' case above).
  size_t length = 0;

  // Case-insensitive comparison with an upper-case keyword.
  bool Is(std::string_view keyword) const;
  // A keyword the parser takes as a plain name where no keyword fits.
  bool IsFallbackKeyword() const;
};

// The token that starts at `pos` of `sql` (pos < sql.size()).
Token NextToken(std::string_view sql, size_t pos);

// Whether a token of whitespace, a comment or a ';' may start with `c`;
// looking at the byte first spares other tokens their classification.
bool CanStartSkippable(unsigned char c);

// The length of the string token at the start of `z`, which starts with
// its quote: through the first quote not doubled, else to the end of the
// input (or a NUL in it).
size_t QuotedLength(std::string_view z);

// The value of a quoted token: '...', "..." and [...] lose their quotes
// and doubled quotes become single. An unterminated quote keeps the tail
// of the original text beyond the shortened value, as the library's
// in-place rewrite leaves it ("'abc" gives "abcc"). Other text is returned
// unchanged.
std::string Dequote(std::string_view text);
// Dequote(text) without a copy where undoing the quotes takes only dropping
// them: a view into `text`, else into `*storage`, which then holds the
// value.
std::string_view Dequote(std::string_view text, std::string* storage);

// ASCII case-insensitive equality, as the library compares names.
bool EqualsIgnoringCase(std::string_view a, std::string_view b);

}  // namespace sqlite2::sql

#endif  // SQLITE2_SQL_TOKENIZER_H_
