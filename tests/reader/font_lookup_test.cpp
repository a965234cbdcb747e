#include "reader/font_lookup.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "reader/records.h"
#include "state.h"
#include "tests/core/plugin_test_support.h"

namespace {

using qbfa_test::CapturedLog;

// An open fixture database in `db` for the length of a test.
class FontLookup : public testing::Test {
 protected:
  void Open(const std::string& fixture) {
    db = sqlite_open(qbfa_test::FixturePath(fixture).c_str(), 0, nullptr);
    ASSERT_NE(db, nullptr);
  }
  ~FontLookup() override { qbfa_test::CloseDatabase(); }

  // The display names (or ids, for fonts without one) found for `id`;
  // {"(null)"} when the lookup gives no array.
  std::vector<std::string> Find(const std::string& id) {
    cf::Ref<cf::String> text = cf::String::Create(id);
    cf::Ref<cf::Array> fonts = QBFA_CreateArrayForFontsWithID(text.get());
    if (!fonts)
      return {"(null)"};
    std::vector<std::string> names;
    for (const auto& font : *fonts) {
      const cf::Dictionary* dictionary = font->AsDictionary();
      const cf::String* name = dictionary->GetString(kQBFontInfoPostScriptName);
      names.push_back(name ? name->utf8() : dictionary->GetString("id")->utf8());
    }
    return names;
  }
};

TEST_F(FontLookup, TextIdsMatchExactlyAndAllMatchesComeInRowOrder) {
  Open("text_font_id");
  CapturedLog log;
  struct {
    const char* id;
    std::vector<std::string> found;
  } cases[] = {
      {"102", {"Halvard Text Italic", "Tamsin Serif Bold", "Castellan Regular"}},
      {"007", {"Pellucid Mono Regular"}},
      {"7", {"Pellucid Mono Bold"}},
      {" 103", {"Brasswick Slab Regular"}},
      {"0101", {"(null)"}},
      {"105", {"(null)"}},
  };
  for (const auto& c : cases)
    EXPECT_EQ(Find(c.id), c.found) << c.id;
  EXPECT_EQ(log.Take(), "") << "finding nothing is not logged here";
}

TEST_F(FontLookup, TheIdIsPastedIntoTheStatementAsItIs) {
  Open("font_edges");
  CapturedLog log;
  EXPECT_EQ(Find("O'Hare-1"), std::vector<std::string>{"(null)"});
  EXPECT_EQ(log.Take(),
            "Unable to find font with ID O'Hare-1 error 1: near \"Hare\": syntax error\n");
  // 29 rows; t7, t8, p6 and p7 are incomplete.
  EXPECT_EQ(Find("x' OR '1'='1").size(), 25u);
}

TEST_F(FontLookup, IncompleteRowsAreDroppedAndKeptOnesMayBeBare) {
  Open("font_edges");
  CapturedLog log;
  EXPECT_EQ(Find("p6"), std::vector<std::string>{"(null)"});
  EXPECT_TRUE(log.Take().starts_with("[QB] Cannot include Lumen Book Empty Path."));
  EXPECT_EQ(Find("p10"), std::vector<std::string>{"p10"});
}

TEST_F(FontLookup, NeedsAConnectionAndAnId) {
  EXPECT_FALSE(QBFA_CreateArrayForFontsWithID(cf::String::Create("1").get()));
  Open("basic");
  EXPECT_FALSE(QBFA_CreateArrayForFontsWithID(nullptr));
  EXPECT_EQ(Find("1"), std::vector<std::string>{"Korvel Sans Regular"});
}

TEST_F(FontLookup, MissingTableIsLoggedEveryTime) {
  Open("no_fonts");
  CapturedLog log;
  EXPECT_EQ(Find("1"), std::vector<std::string>{"(null)"});
  EXPECT_EQ(Find("1"), std::vector<std::string>{"(null)"});
  EXPECT_EQ(log.Take(),
            "Unable to find font with ID 1 error 1: no such table: fonts\n"
            "Unable to find font with ID 1 error 1: no such table: fonts\n");
}

}  // namespace
