#include "reader/font_paths.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "tests/support/environment.h"

namespace {

std::optional<std::string> Expanded(std::string_view path) {
  std::string out;
  if (!AppendExpandedFontPath(path, &out))
    return std::nullopt;
  return out;
}

TEST(FontPaths, OneHomeForAllThePathsOfARead) {
  std::optional<qbfa_test::ScopedEnvironmentVariable> home;
  auto set_home = [&](const char* value) {
    home.reset();
    home.emplace("HOME", value);
  };
  set_home("/home/before");
  EXPECT_EQ(Expanded("~/a"), "/home/before/a") << "no read: each path looks";
  {
    const OneHomePerRead read;
    set_home("/home/first");
    EXPECT_EQ(Expanded("~/a"), "/home/first/a");
    set_home("/home/later");
    EXPECT_EQ(Expanded("~/b"), "/home/first/b") << "the read's home, once found";
    {
      const OneHomePerRead inner;
      EXPECT_EQ(Expanded("~/c"), "/home/later/c") << "a read within a read finds its own";
    }
    set_home("/home/last");
    EXPECT_EQ(Expanded("~/d"), "/home/first/d") << "the outer read's home again";
  }
  EXPECT_EQ(Expanded("~/e"), "/home/last/e") << "after the read, each path looks again";
}

TEST(FontPaths, KeepsAPathWhoseHomeIsNotUtf8) {
  for (const bool in_read : {false, true}) {
    std::optional<OneHomePerRead> read;
    if (in_read)
      read.emplace();
    qbfa_test::ScopedEnvironmentVariable home("HOME", "/home/caf\xe9");
    std::string out = "kept:";
    EXPECT_FALSE(AppendExpandedFontPath("~/x.otf", &out)) << in_read;
    EXPECT_EQ(out, "kept:") << in_read;
  }
}

}  // namespace
