// `qbfa read` end to end: the built command on the fixture databases.
#include <gtest/gtest.h>
#include <pwd.h>

#include <filesystem>
#include <set>
#include <string>

#include "platform/description.h"
#include "platform/xml.h"
#include "reader/records.h"
#include "tests/sqlite2_writer/database.h"
#include "tests/core/plugin_test_support.h"
#include "tests/reader/expected_tree.h"
#include "tests/reader/qbfa_process.h"
#include "tests/support/environment.h"
#include "tests/support/temporary_home.h"

namespace {

using qbfa_test::CommandResult;
using qbfa_test::FixturePath;
using qbfa_test::RunQbfa;

const char kFakeHome[] = "/home/qbfa-tester";

std::string Repeated(const std::string& text, int times) {
  std::string out;
  for (int i = 0; i < times; ++i)
    out += text;
  return out;
}

// L1's folders, "deep000/deep001/.../deep499".
std::string DeepFolders() {
  std::string folders;
  for (int i = 0; i < 500; ++i) {
    char folder[16];
    std::snprintf(folder, sizeof folder, "%sdeep%03d", i == 0 ? "" : "/", i);
    folders += folder;
  }
  return folders;
}

std::map<std::string, std::string> ValuesFor(const std::string& database) {
  const passwd* root = getpwnam("root");
  return {
      {"HOME", kFakeHome},
      {"ROOT_HOME", root != nullptr ? root->pw_dir : "(no root)"},
      {"DB_PATH", database},
      {"DB_URL", cf::URL::CreateWithFileSystemPath(database)->AbsoluteString()},
      {"L1_NAME", "Quillon Script" + Repeated(" Extended", 600) + " "},
      {"L1_FOLDERS", DeepFolders()},
  };
}

std::string Show(const cf::Object* tree) {
  return tree ? cf::Describe(tree) : "(nothing)";
}

class ReadFixture : public testing::TestWithParam<const char*> {};

TEST_P(ReadFixture, MatchesTheHandDerivedResult) {
  qbfa_test::ScopedEnvironmentVariable home("HOME", kFakeHome);
  const std::string database = FixturePath(GetParam());
  const qbfa_test::Expectation expected = qbfa_test::ReadExpectation(
      std::string(QBFA_SOURCE_DIR) + "/tests/reader/expected/" + GetParam() + ".tree",
      ValuesFor(database));
  for (bool logging : {false, true}) {
    SCOPED_TRACE(logging ? "--log" : "without --log");
    CommandResult run =
        logging ? RunQbfa({"read", "--log", database}) : RunQbfa({"read", database});
    EXPECT_EQ(run.exit_code, expected.exit_code);
    EXPECT_EQ(run.err, expected.Log(logging));
    if (!expected.tree) {
      EXPECT_EQ(run.out, "");
      continue;
    }
    cf::Ref<cf::Object> tree = CFPropertyListCreateFromXMLData(run.out);
    EXPECT_TRUE(cf::Equal(tree.get(), expected.tree.get())) << "read:\n"
                                                            << Show(tree.get()) << "\nexpected:\n"
                                                            << Show(expected.tree.get());
  }
}

INSTANTIATE_TEST_SUITE_P(SmallFixtures, ReadFixture,
                         testing::Values("basic", "set_names", "rel_edges", "text_font_id",
                                         "untyped_ids", "font_edges", "no_rel", "no_fonts",
                                         "empty_tables", "master_only", "zero_bytes",
                                         "corrupt_random_after_header"));

// What a tree read from any database must satisfy, and its size counted
// over distinct sets (a set with two parents is written out under both).
struct Totals {
  size_t top = 0;
  size_t sets = 0;
  size_t font_links = 0;
  size_t child_links = 0;
  bool operator==(const Totals&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Totals& t) {
  return out << "{top " << t.top << ", sets " << t.sets << ", font links " << t.font_links
             << ", child links " << t.child_links << "}";
}

class TreeChecker {
 public:
  Totals Check(const cf::Object* root) {
    const cf::Array* top = root ? root->AsArray() : nullptr;
    if (top == nullptr) {
      ADD_FAILURE() << "the tree is not an array";
      return totals_;
    }
    totals_.top = top->size();
    for (const auto& set : *top) {
      const cf::Dictionary* dictionary = set->AsDictionary();
      if (dictionary == nullptr) {
        ADD_FAILURE() << "a top-level entry is not a dictionary";
        continue;
      }
      EXPECT_NE(dictionary->GetString(kSetNameKey), nullptr);
      EXPECT_FALSE(dictionary->Contains(kHasParentsKey));
      EXPECT_TRUE(dictionary->Contains(kFontsKey) || dictionary->Contains(kChildrenKey));
      Set(*dictionary);
    }
    return totals_;
  }

 private:
  void Set(const cf::Dictionary& set) {
    const cf::String* id = set.GetString(kIDColumn);
    ASSERT_NE(id, nullptr);
    if (!seen_.emplace(id->utf8()).second)
      return;
    ++totals_.sets;
    NoEmptyStrings(set);
    EXPECT_EQ(set.GetString(kFontSetTypeKey)->utf8(), "FAP");
    for (std::string_view key : {kFontsKey, kChildrenKey, kChildrenNamesKey}) {
      if (const cf::Object* value = set.Get(key)) {
        ASSERT_NE(value->AsArray(), nullptr) << key;
        EXPECT_FALSE(value->AsArray()->empty()) << key << " is never present and empty";
      }
    }
    if (const cf::Array* fonts = set.GetArray(kFontsKey)) {
      totals_.font_links += fonts->size();
      for (const auto& font : *fonts)
        Font(font.get());
    }
    if (const cf::Array* children = set.GetArray(kChildrenKey)) {
      totals_.child_links += children->size();
      for (const auto& child : *children) {
        ASSERT_NE(child->AsDictionary(), nullptr);
        EXPECT_TRUE(
            cf::Equal(child->AsDictionary()->Get(kHasParentsKey), cf::Boolean::True().get()));
        Set(*child->AsDictionary());
      }
    }
  }

  void Font(const cf::Object* font) {
    const cf::Dictionary* dictionary = font->AsDictionary();
    ASSERT_NE(dictionary, nullptr);
    NoEmptyStrings(*dictionary);
    if (dictionary->Contains(kQBFontInfoPostScriptName)) {
      EXPECT_TRUE(dictionary->Contains(kQBFontInfoFilePath) &&
                  dictionary->Contains(kQBFontInfoFontFormat))
          << cf::Describe(dictionary);
    }
  }

  void NoEmptyStrings(const cf::Dictionary& dictionary) {
    for (const auto& entry : dictionary) {
      if (const cf::String* string = entry.value->AsString()) {
        EXPECT_FALSE(string->empty()) << entry.key.view();
      }
    }
  }

  Totals totals_;
  std::set<std::string> seen_;
};

struct LargeFixture {
  const char* name;
  Totals totals;              // counted from the fixture's dumps
  const char* expected_line;  // one line the read must log, if any
};

class ReadLargeFixture : public testing::TestWithParam<LargeFixture> {};

TEST_P(ReadLargeFixture, KeepsTheInvariantsAndTheDumpsTotals) {
  const LargeFixture& fixture = GetParam();
  CommandResult run = RunQbfa({"read", FixturePath(fixture.name)});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  cf::Ref<cf::Object> tree = CFPropertyListCreateFromXMLData(run.out);
  EXPECT_EQ(TreeChecker().Check(tree.get()), fixture.totals);
  if (fixture.expected_line) {
    EXPECT_NE(run.err.find(fixture.expected_line), std::string::npos) << run.err;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Fixtures, ReadLargeFixture,
    testing::Values(
        LargeFixture{"medium", {10, 100, 3864, 90}, nullptr},
        LargeFixture{"indexed", {13, 24, 322, 11}, nullptr},
        LargeFixture{"record_sizes", {2, 31, 153, 29}, nullptr},
        LargeFixture{"record_sizes_be", {2, 31, 153, 29}, nullptr},
        // The rel table breaks off after 64 rows, all of them fonts.
        LargeFixture{"corrupt_truncated",
                     {24, 24, 64, 0},
                     "Unable to find relationship table error 11: database disk image is "
                     "malformed\n"},
        // Fonts 9 to 14 share the damaged leaf. Font 12's lookup, the first
        // to reach it, finds nothing; the leaf then passes as it is, so
        // only font 10, whose cell claims 4 MB of data, fails: two of
        // basic's 25 font links are gone, as with the real library.
        LargeFixture{
            "corrupt_cell_header",
            {6, 12, 23, 6},
            "Unable to find font with ID 10 error 11: database disk image is malformed\n"}),
    [](const testing::TestParamInfo<LargeFixture>& info) { return std::string(info.param.name); });

// The fonts table of this file loops; whatever the lookups make of it, the
// read ends and what it prints is a sound tree.
TEST(ReadDamaged, FontPageThatPointsAtItselfStillEnds) {
  CommandResult run = RunQbfa({"read", FixturePath("corrupt_child_loop")});
  ASSERT_TRUE(run.exit_code == 0 || run.exit_code == 3) << run.exit_code << run.err;
  if (run.exit_code == 0)
    TreeChecker().Check(CFPropertyListCreateFromXMLData(run.out).get());
}

// A set that is its own grandchild below a top-level set: the tree is read,
// but it cannot be written out.
TEST(ReadCommand, TreeWithACycleHasNothingToPublish) {
  qbfa_test::TemporaryHome home;
  sqlite2::writer::Database database;
  ASSERT_TRUE(
      database.CreateTable("CREATE TABLE sets(id INTEGER PRIMARY KEY, set_displayName)").ok());
  ASSERT_TRUE(database.CreateTable("CREATE TABLE rel(parentID, childtype, childid)").ok());
  for (auto [id, name] : {std::pair{"1", "Top"}, {"2", "B"}, {"3", "C"}}) {
    ASSERT_TRUE(database.Insert("sets", {id, name}).ok());
  }
  for (auto [parent, child] : {std::pair{"1", "2"}, {"2", "3"}, {"3", "2"}}) {
    ASSERT_TRUE(database.Insert("rel", {parent, "2", child}).ok());
  }
  const std::string path = home.root() + "/cycle.db";
  ASSERT_TRUE(database.WriteFile(path).ok());

  CommandResult run = RunQbfa({"read", path});
  EXPECT_EQ(run.exit_code, 3);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "");
}

TEST(ReadCommand, MissingDatabaseIsAConnectFailure) {
  CommandResult run = RunQbfa({"read", "/nonexistent/FontAgent.db"});
  EXPECT_EQ(run.exit_code, 2);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "[QB] Cannot find FontAgent Pro database\n");
}

TEST(ReadCommand, RelativePathIsReadFromTheWorkingFolder) {
  std::filesystem::path previous = std::filesystem::current_path();
  std::filesystem::current_path(QBFA_FIXTURES_DIR);
  CommandResult run = RunQbfa({"read", "--log", "no_rel.db"});
  std::filesystem::current_path(previous);
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_NE(run.err.find("no_rel.db\n"), std::string::npos) << run.err;
}

TEST(ReadCommand, WantsExactlyOneDatabase) {
  EXPECT_NE(RunQbfa({"read"}).exit_code, 0);
  EXPECT_NE(RunQbfa({"read", "a.db", "b.db"}).exit_code, 0);
}

}  // namespace
