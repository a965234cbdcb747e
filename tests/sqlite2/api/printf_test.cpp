// SQLite's printf as sqlite_mprintf() and sqlite_exec_printf() use it.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "sqlite2/sqlite.h"

namespace {

std::string Take(char* text) {
  std::string copy = text != nullptr ? text : "(null pointer)";
  sqlite_freemem(text);
  return copy;
}

TEST(PrintfTest, SqlQuoting) {
  EXPECT_EQ(Take(sqlite_mprintf("%q", "it's")), "it''s");
  EXPECT_EQ(Take(sqlite_mprintf("%Q", "it's")), "'it''s'");
  EXPECT_EQ(Take(sqlite_mprintf("%Q", static_cast<const char*>(nullptr))), "NULL");
  EXPECT_EQ(Take(sqlite_mprintf("%q", static_cast<const char*>(nullptr))), "(NULL)");
  EXPECT_EQ(Take(sqlite_mprintf("[%s]", static_cast<const char*>(nullptr))), "[]");
  EXPECT_EQ(Take(sqlite_mprintf("id = '%s';", "x' OR '1'='1")), "id = 'x' OR '1'='1';");
  EXPECT_EQ(Take(sqlite_mprintf("%q", "''")), "''''");
}

TEST(PrintfTest, CConversions) {
  EXPECT_EQ(Take(sqlite_mprintf("%d|%i|%u|%x|%X|%o|%c|%%", -5, 7, 3u, 255u, 255u, 8u, 'z')),
            "-5|7|3|ff|FF|10|z|%");
  EXPECT_EQ(Take(sqlite_mprintf("%5d|%-5d|%05d|%+d", 42, 42, 42, 42)), "   42|42   |00042|+42");
  EXPECT_EQ(Take(sqlite_mprintf("%ld|%lld", -4000000000L, 9000000000LL)), "-4000000000|9000000000");
  EXPECT_EQ(Take(sqlite_mprintf("%.2f|%e|%g|%G", 3.14159, 1500.0, 0.0001, 1e20)),
            "3.14|1.500000e+03|0.0001|1E+20");
  EXPECT_EQ(Take(sqlite_mprintf("%*d|%.*s|%-4s|", 4, 7, 2, "abcdef", "ab")), "   7|ab|ab  |");
  int count = 0;
  EXPECT_EQ(Take(sqlite_mprintf("abc%n!", &count)), "abc!");
  EXPECT_EQ(count, 3);
  EXPECT_EQ(Take(sqlite_mprintf("100%")), "100%");
}

TEST(PrintfTest, UnknownConversionCutsTheTextShortAndKeepsItsArgument) {
  // 2.8.13 writes '%' and a NUL for %z and goes on after it without using
  // the argument, so "second" is never printed.
  char* text = sqlite_mprintf("A%zB%sC", "first", "second");
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(std::string(text, 10), std::string("A%\0BfirstC", 10));
  sqlite_freemem(text);
}

}  // namespace
