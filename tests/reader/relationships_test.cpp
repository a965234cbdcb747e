#include "reader/relationships.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "reader/records.h"
#include "state.h"
#include "tests/core/plugin_test_support.h"
#include "tests/reader/row.h"

namespace {

using qbfa_test::CapturedLog;
using qbfa_test::Row;

cf::Ref<cf::Dictionary> MakeSet(const std::string& id, const std::string& name) {
  cf::Ref<cf::Dictionary> set = cf::Dictionary::Create();
  set->Set("id", cf::MakeString(id));
  set->Set(kSetNameKey, cf::MakeString(name));
  set->Set(kFontSetTypeKey, cf::MakeString("FAP"));
  return set;
}

// Sets 1 "Root", 2 "Child", 3 "Other" and 4 "Child" (a second set of that
// name), linked by rel rows given as (parentID, childtype, childid).
class Relationships : public testing::Test {
 protected:
  Relationships() : containers_(cf::Dictionary::Create()) {
    for (auto [id, name] :
         {std::pair{"1", "Root"}, {"2", "Child"}, {"3", "Other"}, {"4", "Child"}}) {
      containers_->Set(id, MakeSet(id, name));
    }
  }
  ~Relationships() override { gLogStuff = false; }

  void Link(std::optional<std::string> parent, std::optional<std::string> type,
            std::optional<std::string> child) {
    Row row{{"id", "99"}, {"parentID", parent}, {"childtype", type}, {"childid", child}};
    EXPECT_EQ(
        QBFA_AddRelationshipCallback(containers_.get(), row.count(), row.values(), row.names()), 0);
  }

  cf::Dictionary* Set(const char* id) { return containers_->GetDictionary(id); }

  // The ids of a set's children, or its children's names.
  std::vector<std::string> Strings(const char* id, std::string_view key) {
    std::vector<std::string> out;
    if (const cf::Array* array = Set(id)->GetArray(key)) {
      for (const auto& item : *array) {
        out.emplace_back(item->AsString() ? item->AsString()->utf8()
                                          : item->AsDictionary()->GetString("id")->utf8());
      }
    }
    return out;
  }

  bool HasParents(const char* id) { return Set(id)->Contains(kHasParentsKey); }

  cf::Ref<cf::Dictionary> containers_;
};

// Outside a scan of the links each link finds its parent anew, so a set
// replaced in the map between two links is the one the second one finds.
TEST_F(Relationships, EachLinkOutsideAScanFindsItsParentAnew) {
  Link("1", "2", "2");
  cf::Ref<cf::Dictionary> before(Set("1"));
  containers_->Set("1", MakeSet("1", "Replaced"));
  Link("1", "2", "3");
  EXPECT_EQ(Strings("1", kChildrenKey), std::vector<std::string>{"3"});
  EXPECT_EQ(before->GetArray(kChildrenKey)->size(), 1u) << "the first link's parent, untouched";
}

TEST_F(Relationships, ChildSetsAreSharedAndMarked) {
  gLogStuff = true;
  CapturedLog log;
  Link("1", "2", "2");
  Link("3", "2", "2");
  EXPECT_EQ(Strings("1", kChildrenKey), std::vector<std::string>{"2"});
  EXPECT_EQ(Strings("3", kChildrenKey), std::vector<std::string>{"2"});
  EXPECT_EQ(Set("1")->GetArray(kChildrenKey)->at(0).get(), Set("2")) << "the same object";
  EXPECT_EQ(Set("3")->GetArray(kChildrenKey)->at(0).get(), Set("2"));
  EXPECT_TRUE(HasParents("2"));
  EXPECT_FALSE(HasParents("1"));
  EXPECT_EQ(Strings("1", kChildrenNamesKey), std::vector<std::string>{"Child"});
  EXPECT_EQ(log.Take(), "[QB] Parent Root:Child Child\n[QB] Parent Other:Child Child\n");
}

TEST_F(Relationships, RepeatsAreHeldOnceAndStillLogged) {
  gLogStuff = true;
  CapturedLog log;
  Link("1", "2", "2");
  Link("1", "2", "2");
  Link("1", "2", "4");  // another set with the same name
  EXPECT_EQ(Strings("1", kChildrenKey), (std::vector<std::string>{"2", "4"}));
  EXPECT_EQ(Strings("1", kChildrenNamesKey), std::vector<std::string>{"Child"});
  EXPECT_EQ(log.Take(),
            "[QB] Parent Root:Child Child\n[QB] Parent Root:Child Child\n"
            "[QB] Parent Root:Child Child\n");
}

TEST_F(Relationships, NothingStopsSelfChildrenAndCycles) {
  Link("1", "2", "1");
  Link("2", "2", "3");
  Link("3", "2", "2");
  EXPECT_EQ(Strings("1", kChildrenKey), std::vector<std::string>{"1"});
  EXPECT_EQ(Strings("1", kChildrenNamesKey), std::vector<std::string>{"Root"});
  EXPECT_EQ(Strings("2", kChildrenKey), std::vector<std::string>{"3"});
  EXPECT_EQ(Strings("3", kChildrenKey), std::vector<std::string>{"2"});
  for (const char* id : {"1", "2", "3"})
    EXPECT_TRUE(HasParents(id)) << id;
  // The links stay intact when the map lets go of the sets.
  cf::Ref<cf::Object> root(Set("1"));
  containers_ = nullptr;
  EXPECT_EQ(root->AsDictionary()->GetArray(kChildrenKey)->at(0).get(), root.get());
}

TEST_F(Relationships, ChildtypeIsTheTextsLeadingInteger) {
  struct {
    std::optional<std::string> type;
    const char* logged;  // with the log switch on; "always:" lines come also with it off
  } cases[] = {
      {"1", "[QB] Could not find font for child 3\n"},
      {"01", "[QB] Could not find font for child 3\n"},
      {" 1", "[QB] Could not find font for child 3\n"},
      {"+1", "[QB] Could not find font for child 3\n"},
      {"1abc", "[QB] Could not find font for child 3\n"},
      {"2", "[QB] Parent Root:Other Child\n"},
      {"02", "[QB] Parent Root:Other Child\n"},
      {"3", "always:[QB] Ignoring 3 for type 3\n"},
      {"0", "always:[QB] Ignoring 3 for type 0\n"},
      {"-1", "always:[QB] Ignoring 3 for type -1\n"},
      {"abc", "always:[QB] Ignoring 3 for type abc\n"},
      {"", ""},
      {std::nullopt, ""},
  };
  for (const auto& c : cases) {
    for (bool logging : {false, true}) {
      gLogStuff = logging;
      CapturedLog log;
      Link("1", c.type, "3");
      std::string expected = c.logged;
      bool always = expected.starts_with("always:");
      if (always)
        expected.erase(0, 7);
      EXPECT_EQ(log.Take(), logging || always ? expected : "")
          << "childtype \"" << c.type.value_or("(NULL)") << "\"" << (logging ? " logging" : "");
    }
  }
}

TEST_F(Relationships, RowsThatNameNoKnownParentAreSkippedSilently) {
  gLogStuff = true;
  CapturedLog log;
  Link("01", "2", "2");  // ids are text: "01" is not "1"
  Link("999", "2", "2");
  Link(std::nullopt, "2", "2");
  Link("", "2", "2");
  Link("1", "2", std::nullopt);
  Link("1", "2", "");
  Link("1", std::nullopt, "2");
  EXPECT_EQ(log.Take(), "");
  EXPECT_FALSE(HasParents("2"));
  EXPECT_FALSE(Set("1")->Contains(kChildrenKey));
}

TEST_F(Relationships, ALinkReadsAsItsRowsDictionaryHoldsIt) {
  // A rel row is read as QBFA_CopyDictFromRow would read it: the last usable
  // column of a name wins, and a row whose reading would log or drop it does
  // so here too.
  struct {
    const char* name;
    std::vector<Row::Column> columns;
    bool linked;
    const char* log;
  } cases[] = {
      {"a later parent wins",
       {{"parentID", "3"}, {"parentID", "1"}, {"childtype", "2"}, {"childid", "2"}},
       true,
       ""},
      {"an empty later parent does not",
       {{"parentID", "1"}, {"parentID", ""}, {"childtype", "2"}, {"childid", "2"}},
       true,
       ""},
      {"nor one that is not UTF-8",
       {{"parentID", "1"}, {"parentID", "\xff"}, {"childtype", "2"}, {"childid", "2"}},
       true,
       ""},
      {"nor a NULL one",
       {{"parentID", "1"}, {"parentID", std::nullopt}, {"childtype", "2"}, {"childid", "2"}},
       true,
       ""},
      {"columns without a usable name are left out",
       {{std::nullopt, "3"},
        {"b\xe9", "3"},
        {"parentID", "1"},
        {"childtype", "2"},
        {"childid", "2"}},
       true,
       ""},
      {"a font format is still mapped and logged",
       {{"parentID", "1"}, {"childtype", "2"}, {"childid", "2"}, {"font_type", "(XYZ)"}},
       true,
       "[QB] Unknown Font Format: (XYZ)\n"},
      {"a row read as a font that cannot be found is dropped",
       {{"parentID", "1"}, {"childtype", "2"}, {"childid", "2"}, {"font_displayName", "Korvel"}},
       false,
       "[QB] Cannot include Korvel. It is missing key information. {\n    childid = 2;\n    "
       "childtype = 2;\n    kQBFontInfoPostScriptName = Korvel;\n    parentID = 1;\n}\n"},
  };
  for (const auto& c : cases) {
    containers_ = cf::Dictionary::Create();
    for (auto [id, name] : {std::pair{"1", "Root"}, {"2", "Child"}, {"3", "Other"}})
      containers_->Set(id, MakeSet(id, name));
    Row row(c.columns);
    CapturedLog log;
    QBFA_AddRelationshipCallback(containers_.get(), row.count(), row.values(), row.names());
    EXPECT_EQ(Strings("1", kChildrenKey),
              c.linked ? std::vector<std::string>{"2"} : std::vector<std::string>{})
        << c.name;
    EXPECT_FALSE(Set("3")->Contains(kChildrenKey)) << c.name;
    EXPECT_EQ(log.Take(), c.log) << c.name;
  }
}

TEST_F(Relationships, UnknownChildSetIsAlwaysLogged) {
  CapturedLog log;
  Link("1", "2", "777");
  EXPECT_EQ(log.Take(), "[QB] Can't find child set for 777\n");
  EXPECT_FALSE(Set("1")->Contains(kChildrenKey));
}

TEST_F(Relationships, LinksReplaceAColumnOfTheSameName) {
  Set("1")->Set(kChildrenKey, cf::MakeString("a column of the sets table"));
  Link("1", "2", "2");
  EXPECT_EQ(Strings("1", kChildrenKey), std::vector<std::string>{"2"});
}

TEST_F(Relationships, WithoutAMapNothingHappens) {
  Row row{{"parentID", "1"}, {"childtype", "2"}, {"childid", "2"}};
  EXPECT_EQ(QBFA_AddRelationshipCallback(nullptr, row.count(), row.values(), row.names()), 0);
  cf::Ref<cf::Array> notAMap = cf::Array::Create();
  EXPECT_EQ(QBFA_AddRelationshipCallback(notAMap.get(), row.count(), row.values(), row.names()), 0);
}

TEST(ConnectItems, NeverConnects) {
  qbfa_test::SearchPlaces places;
  places.PutDatabase(qbfa_test::Place::kLocal, "basic");
  cf::Ref<cf::Dictionary> containers = cf::Dictionary::Create();
  containers->Set("1", MakeSet("1", "Sans Serif Workhorses"));
  QBFA_ConnectItemsToContainers(containers.get());
  EXPECT_EQ(db, nullptr);
  EXPECT_FALSE(containers->GetDictionary("1")->Contains(kFontsKey));
}

}  // namespace
