// What a statement fails with, and at which token: the library's messages
// quote the token where the statement stopped making sense.
#include "sqlite2/sql/select_parser.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sqlite2/sql/tokenizer.h"

namespace sqlite2::sql {
namespace {

// Reads every statement of `sql`; returns the error text, or "" when all
// of it parses.
std::string FirstError(const std::string& sql, size_t* statements = nullptr) {
  StatementReader reader(sql);
  size_t count = 0;
  for (;;) {
    std::optional<SelectStatement> statement;
    Status status = reader.Next(&statement);
    if (!status.ok())
      return status.message();
    if (!statement)
      break;
    ++count;
  }
  if (statements != nullptr)
    *statements = count;
  return "";
}

TEST(SelectParserTest, ErrorsQuoteTheTokenWhereTheStatementBroke) {
  const struct {
    std::string sql;
    std::string error;
  } cases[] = {
      {"SELEC * FROM p", R"(near "SELEC": syntax error)"},
      {"SELECT * FROM", R"(near "FROM": syntax error)"},
      {"SELECT", R"(near "SELECT": syntax error)"},
      // At the end of the input the last token read is quoted, whitespace
      // and comments included.
      {"SELECT * FROM t WHERE name = ", R"(near " ": syntax error)"},
      {"SELECT * FROM t WHERE name =\n", "near \"\n\": syntax error"},
      {"SELECT * FROM t WHERE name = -- c", R"(near "-- c": syntax error)"},
      {"SELECT * FROM t WHERE name = /* c */", R"(near "/* c */": syntax error)"},
      // An id with a quote pasted between quotes.
      {"SELECT * FROM fonts WHERE id = 'O'Brien';", R"(near "Brien": syntax error)"},
      {"SELECT * FROM t WHERE id = 'a'b';", R"(near "b": syntax error)"},
      {"SELECT * FROM t WHERE a = x'41'", R"(near "'41'": syntax error)"},
      {"SELECT * FROM p; garbage", R"(near "garbage": syntax error)"},
      {"SELECT * FROM t WHERE a = 1 2", R"(near "2": syntax error)"},
      {"SELECT * FROM t WHERE (a = 1", R"(near "1": syntax error)"},
      {"SELECT * FROM t WHERE a IS 5", R"(near "5": syntax error)"},
      {"SELECT * FROM t ORDER BY a", R"(near "ORDER": syntax error)"},
      {"SELECT DISTINCT a FROM t", R"(near "DISTINCT": syntax error)"},
      // Bytes that start no token.
      {"SELECT * FROM t WHERE a # 1", R"(unrecognized token: "#")"},
      {"SELECT @ FROM t", R"(unrecognized token: "@")"},
      {"SELECT $x FROM t", R"(unrecognized token: "$")"},
      {"SELECT * FROM t WHERE a = \\", R"(unrecognized token: "\")"},
      // A lone '!' takes the next byte along; at the very end the message
      // loses its closing quote.
      {"SELECT * FROM t WHERE a !x 1", R"(unrecognized token: "!x")"},
      {"SELECT * FROM t WHERE a !", R"(unrecognized token: "!)"},
      // Nothing to run is no error.
      {"", ""},
      {" ;; ; ", ""},
      {"SELECT * FROM t", ""},
      {"select * from P where NAME='a' AND (b == 2 OR NOT c <> 'x') AND d IS NOT NULL;", ""},
      {"SELECT a, \"b\", 'c', -5, NULL, t.d AS e, f g FROM t AS x WHERE 5 >= a", ""},
      {"SELECT * FROM t WHERE a ISNULL OR b NOTNULL OR c NOT NULL", ""},
      // An unterminated string runs to the end and is accepted.
      {"SELECT * FROM t WHERE name = 'abc", ""},
      // Bytes from 0x80 up belong to identifiers.
      {"SELECT caf\xc3\xa9 FROM t", ""},
  };
  for (const auto& c : cases)
    EXPECT_EQ(FirstError(c.sql), c.error) << c.sql;
}

// `unit` repeated `times` times.
std::string Repeated(const std::string& unit, int times) {
  std::string text;
  for (int i = 0; i < times; ++i)
    text += unit;
  return text;
}

// Expressions nested far deeper than anyone writes, as a damaged database can
// paste into a lookup: refused with an error, never a stack overflow. Up to
// the bounds, they parse.
TEST(SelectParserTest, RefusesExpressionsNestedTooDeep) {
  struct Case {
    std::string what;
    std::string where;
    std::string error;
  };
  const std::string overflow = "parser stack overflow";
  auto parentheses = [](int n) { return Repeated("(", n) + "a = 1" + Repeated(")", n); };
  auto chain = [](int terms) { return "a = 0" + Repeated(" OR a = 1", terms - 1); };
  const Case cases[] = {
      {"256 parentheses", parentheses(256), ""},
      {"257 parentheses", parentheses(257), overflow},
      {"100,000 parentheses", parentheses(100'000), overflow},
      {"256 NOTs", Repeated("NOT ", 256) + "a = 1", ""},
      {"100,000 NOTs", Repeated("NOT ", 100'000) + "a = 1", overflow},
      {"100,000 minus signs", "a = " + Repeated("- ", 100'000) + "1", overflow},
      {"a chain of 990 ORs", chain(991), ""},
      {"a chain of 1,000 ORs", chain(1001), overflow},
      {"a chain of 100,000 ANDs", "a = 0" + Repeated(" AND a = 1", 100'000), overflow},
  };
  for (const Case& c : cases)
    EXPECT_EQ(FirstError("SELECT * FROM t WHERE " + c.where), c.error) << c.what;
}

TEST(SelectParserTest, StatementsBeforeABrokenOneAreReadFirst) {
  StatementReader reader("SELECT * FROM a; SELECT b FROM c; SELECT * FROM;");
  std::optional<SelectStatement> statement;
  ASSERT_TRUE(reader.Next(&statement).ok());
  EXPECT_EQ(statement->table, "a");
  ASSERT_TRUE(reader.Next(&statement).ok());
  EXPECT_EQ(statement->table, "c");
  EXPECT_EQ(reader.Next(&statement).message(), R"(near ";": syntax error)");
}

TEST(SelectParserTest, ResultColumnsKeepTheirTextAsTyped) {
  StatementReader reader("SELECT NAME, \"name\", p . id, -  5, rowid, x AS [y z] FROM 'p'");
  std::optional<SelectStatement> statement;
  ASSERT_TRUE(reader.Next(&statement).ok());
  ASSERT_TRUE(statement);
  std::vector<std::string> spans;
  for (const ResultColumn& column : statement->columns)
    spans.push_back(column.alias ? "AS " + *column.alias : column.expr->span);
  EXPECT_EQ(spans,
            (std::vector<std::string>{"NAME", "\"name\"", "p . id", "-  5", "rowid", "AS y z"}));
  EXPECT_EQ(statement->columns[3].expr->value, "-5");
  EXPECT_EQ(statement->table, "p");
}

TEST(DequoteTest, QuotesComeOffAsTheLibraryTakesThemOff) {
  const struct {
    std::string in, out;
  } cases[] = {
      {"'it''s'", "it's"},
      {"\"a\"\"b\"", "a\"b"},
      {"[a b]", "a b"},
      {"plain", "plain"},
      {"''", ""},
      // Unterminated: the shortened text plus what was left behind.
      {"'abc", "abcc"},
      {"'", "'"},
      {"[", "["},
      {"'a'b'", "a"},
      {"[a]]b]", "a]b"},
      {"'a\"b'", "a\"b"},
      {"", ""},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Dequote(c.in), c.out) << c.in;
    // The view gives the same value, from the text itself where it can.
    std::string storage = "junk";
    const std::string_view view = Dequote(c.in, &storage);
    EXPECT_EQ(view, c.out) << c.in;
    const bool in_text = view.data() >= c.in.data() && view.data() <= c.in.data() + c.in.size();
    EXPECT_TRUE(in_text || view.data() == storage.data()) << c.in;
  }
}

}  // namespace
}  // namespace sqlite2::sql
