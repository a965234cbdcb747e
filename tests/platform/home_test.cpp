#include "platform/home.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <optional>
#include <string>

#include "tests/support/environment.h"

namespace {

std::string PasswordHome(const passwd* entry) {
  return entry ? entry->pw_dir : "";
}

struct TildeCase {
  const char* name;
  std::optional<std::string> home;  // $HOME; nullopt: unset
  std::string path;
  std::string expected;  // "<root>" and "<me>" stand for homes from the password database
};

std::string Resolve(std::string text) {
  const std::string root = PasswordHome(getpwnam("root"));
  const std::string me = PasswordHome(getpwuid(getuid()));
  for (auto [token, value] : {std::pair{std::string("<root>"), root}, {"<me>", me}}) {
    if (size_t at = text.find(token); at != std::string::npos)
      text.replace(at, token.size(), value);
  }
  return text;
}

class TildeExpansion : public testing::TestWithParam<TildeCase> {};

TEST_P(TildeExpansion, ExpandsOnlyALeadingTilde) {
  const TildeCase& c = GetParam();
  qbfa_test::ScopedEnvironmentVariable home("HOME", c.home);
  cf::Ref<cf::String> path = cf::String::Create(c.path);
  cf::Ref<cf::String> expanded = StringByExpandingTildeInPath(*path);
  ASSERT_TRUE(expanded);
  EXPECT_EQ(expanded->utf8(), Resolve(c.expected));
  EXPECT_NE(expanded.get(), path.get()) << "a new string every time";
}

INSTANTIATE_TEST_SUITE_P(
    Paths, TildeExpansion,
    testing::Values(
        TildeCase{"Alone", "/home/tester", "~", "/home/tester"},
        TildeCase{"WithPath", "/home/tester", "~/Library/Fonts/A.otf",
                  "/home/tester/Library/Fonts/A.otf"},
        TildeCase{"HomeWithTrailingSlash", "/home/tester/", "~/x.ttf", "/home/tester/x.ttf"},
        TildeCase{"HomeIsRoot", "/", "~/x.ttf", "/x.ttf"},
        TildeCase{"HomeIsRootAlone", "/", "~", "/"},
        TildeCase{"NamedUser", "/home/tester", "~root/Fonts/B.ttf", "<root>/Fonts/B.ttf"},
        TildeCase{"NamedUserAlone", "/home/tester", "~root", "<root>"},
        TildeCase{"UnknownUser", "/home/tester", "~nosuchuser-qbfa/C.ttf",
                  "~nosuchuser-qbfa/C.ttf"},
        TildeCase{"TildeInside", "/home/tester", "/Library/~/D.ttf", "/Library/~/D.ttf"},
        TildeCase{"Relative", "/home/tester", "Fonts/a~b.ttf", "Fonts/a~b.ttf"},
        TildeCase{"Empty", "/home/tester", "", ""},
        TildeCase{"HomeUnset", std::nullopt, "~/x", "<me>/x"},
        TildeCase{"HomeEmpty", "", "~/x", "<me>/x"}),
    [](const testing::TestParamInfo<TildeCase>& info) { return std::string(info.param.name); });

TEST(HomeFolderOfUser, KnowsOnlyUsersOfThePasswordDatabase) {
  EXPECT_EQ(HomeFolderOfUser("root"), PasswordHome(getpwnam("root")));
  EXPECT_EQ(HomeFolderOfUser("nosuchuser-qbfa"), std::nullopt);
  EXPECT_EQ(HomeFolderOfUser(""), std::nullopt);
  EXPECT_EQ(HomeFolderOfUser(std::string_view("root\0x", 6)), std::nullopt);
}

}  // namespace
