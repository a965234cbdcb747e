#include "reader/set_reader.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "reader/records.h"
#include "state.h"
#include "tests/core/plugin_test_support.h"
#include "tests/reader/row.h"
#include "tests/support/environment.h"

namespace {

using qbfa_test::CapturedLog;
using qbfa_test::Place;
using qbfa_test::Row;
using qbfa_test::SearchPlaces;

std::vector<std::string> Ids(const cf::Dictionary& containers) {
  std::vector<std::string> ids;
  for (const auto& entry : containers)
    ids.emplace_back(entry.key);
  return ids;
}

int AddRow(cf::Object* context, Row& row) {
  return QBFA_AddFontSetRowCallback(context, row.count(), row.values(), row.names());
}

TEST(FontSetRow, AcceptsNamedSetsThatAreNotTheManagersOwn) {
  struct {
    std::optional<std::string> id, name;
    bool accepted;
  } cases[] = {
      {"1", "Everyday", true},
      {"2", "_Single", true},
      {"3", "My __Notes", true},
      {"4", "Last Imports", true},
      {"5", " Last Import", true},
      {"6", "__Hidden", false},
      {"7", "__", false},
      {"8", "Last Import", false},
      {"9", "last import", false},
      {"10", "LAST IMPORT", false},
      {"11", "lAsT iMpOrT", false},
      {"12", std::nullopt, false},
      {"13", "", false},
      {std::nullopt, "No Id", false},
      {"", "Empty Id", false},
  };
  for (const auto& c : cases) {
    cf::Ref<cf::Dictionary> containers = cf::Dictionary::Create();
    Row row{{"id", c.id}, {"set_displayName", c.name}, {"set_comment", "kept too"}};
    EXPECT_EQ(AddRow(containers.get(), row), 0);
    ASSERT_EQ(containers->size(), c.accepted ? 1u : 0u) << c.name.value_or("(NULL)");
    if (!c.accepted)
      continue;
    const cf::Dictionary* set = containers->GetDictionary(*c.id);
    ASSERT_NE(set, nullptr);
    EXPECT_EQ(set->GetString(kSetNameKey)->utf8(), *c.name);
    EXPECT_EQ(set->GetString(kFontSetTypeKey)->utf8(), "FAP");
    EXPECT_EQ(set->GetString("set_comment")->utf8(), "kept too");
  }
}

TEST(FontSetRow, JudgesTheNameThatEndsUpInTheRow) {
  cf::Ref<cf::Dictionary> containers = cf::Dictionary::Create();
  Row hiddenThenVisible{{"id", "2"}, {"set_displayName", "__Hidden"}, {"SetName", "Visible"}};
  Row visibleThenHidden{{"id", "3"}, {"set_displayName", "Visible"}, {"SetName", "Last Import"}};
  AddRow(containers.get(), hiddenThenVisible);
  AddRow(containers.get(), visibleThenHidden);
  EXPECT_EQ(Ids(*containers), std::vector<std::string>{"2"});
}

TEST(FontSetRow, LaterRowWithTheSameIdReplacesTheEarlierInPlace) {
  cf::Ref<cf::Dictionary> containers = cf::Dictionary::Create();
  Row first{{"id", "9"}, {"set_displayName", "Duplicate First"}};
  Row other{{"id", "10"}, {"set_displayName", "Other"}};
  Row second{{"id", "9"}, {"set_displayName", "Duplicate Second"}};
  Row rejected{{"id", "10"}, {"set_displayName", "__Gone"}};
  for (Row* row : {&first, &other, &second, &rejected})
    AddRow(containers.get(), *row);
  EXPECT_EQ(Ids(*containers), (std::vector<std::string>{"9", "10"}));
  EXPECT_EQ(containers->GetDictionary("9")->GetString(kSetNameKey)->utf8(), "Duplicate Second");
  EXPECT_EQ(containers->GetDictionary("10")->GetString(kSetNameKey)->utf8(), "Other")
      << "a rejected row replaces nothing";
}

TEST(FontSetRow, StoresOnlyIntoADictionary) {
  Row row{{"id", "1"}, {"set_displayName", "Everyday"}};
  cf::Ref<cf::Array> array = cf::Array::Create();
  EXPECT_EQ(AddRow(array.get(), row), 0);
  EXPECT_TRUE(array->empty());
  EXPECT_EQ(AddRow(nullptr, row), 0);
}

TEST(FontSetRow, ShowsEveryNameWhenLogging) {
  cf::Ref<cf::Dictionary> containers = cf::Dictionary::Create();
  Row named{{"id", "1"}, {"set_displayName", "__Hidden"}};
  Row unnamed{{"id", "2"}};
  for (bool logging : {false, true}) {
    gLogStuff = logging;
    CapturedLog log;
    AddRow(containers.get(), named);
    AddRow(containers.get(), unnamed);
    EXPECT_EQ(log.Take(), logging ? "__Hidden\n(null)\n" : "");
  }
  gLogStuff = false;
}

TEST(CopyFontSets, ClosesTheConnectionWhateverItFinds) {
  struct {
    const char* fixture;
    bool tree;
  } cases[] = {{"basic", true}, {"no_rel", true}, {"empty_tables", false}, {"zero_bytes", false}};
  for (const auto& c : cases) {
    SearchPlaces places;
    places.PutDatabase(Place::kLocal, c.fixture);
    gLogStuff = true;
    CapturedLog log;
    cf::Ref<cf::Array> sets = QBFA_CopyFontSets();
    EXPECT_EQ(static_cast<bool>(sets), c.tree) << c.fixture;
    EXPECT_EQ(db, nullptr) << c.fixture;
    std::string text = log.Take();
    EXPECT_TRUE(text.ends_with("[QB] Done saving\n")) << c.fixture << ":\n" << text;
  }
}

TEST(CopyFontSets, NoDatabaseGivesNothingAndSaysNothingMore) {
  SearchPlaces places;
  gLogStuff = true;
  CapturedLog log;
  EXPECT_FALSE(QBFA_CopyFontSets());
  EXPECT_EQ(log.Take(), "(null)\n[QB] Cannot find FontAgent Pro database\n");
}

TEST(CopyFontSets, UsesAnOpenConnectionAsItIs) {
  SearchPlaces places;
  db = sqlite_open(qbfa_test::FixturePath("no_fonts").c_str(), 0, nullptr);
  ASSERT_NE(db, nullptr);
  cf::Ref<cf::Array> sets = QBFA_CopyFontSets();
  ASSERT_TRUE(sets);
  EXPECT_EQ(sets->size(), 1u);
  EXPECT_EQ(db, nullptr);
  EXPECT_TRUE(places.watcher_calls.empty()) << "no connect was made";
}

TEST(CopyFontSets, RereadingAnUnchangedDatabaseGivesAnEqualTree) {
  SearchPlaces places;
  places.PutDatabase(Place::kUser, "rel_edges");
  cf::Ref<cf::Array> first = QBFA_CopyFontSets();
  cf::Ref<cf::Array> second = QBFA_CopyFontSets();
  ASSERT_TRUE(first);
  EXPECT_NE(first.get(), second.get());
  EXPECT_TRUE(cf::Equal(first.get(), second.get()));
}

// Every font path of the tree, through sets and their children.
void CollectFontPaths(const cf::Object* value, std::vector<std::string>* paths) {
  if (const cf::Array* array = value->AsArray()) {
    for (const cf::Ref<cf::Object>& item : *array)
      CollectFontPaths(item.get(), paths);
    return;
  }
  const cf::Dictionary* dictionary = value->AsDictionary();
  if (dictionary == nullptr)
    return;
  if (const cf::String* path = dictionary->GetString(kQBFontInfoFilePath))
    paths->emplace_back(path->utf8());
  for (const char* key : {"Fonts", "Children"}) {
    if (const cf::Object* links = dictionary->Get(key))
      CollectFontPaths(links, paths);
  }
}

TEST(CopyFontSets, ExpandsFontPathsToTheHomeOfEachRead) {
  SearchPlaces places;
  places.PutDatabase(Place::kLocal, "basic");
  const struct {
    const char* home;
    const char* prefix;
  } reads[] = {
      {"/home/first", "/home/first/Library/"},
      {"/home/second/", "/home/second/Library/"},
      {"/", "/Library/"},
  };
  for (const auto& read : reads) {
    qbfa_test::ScopedEnvironmentVariable home("HOME", read.home);
    cf::Ref<cf::Array> sets = QBFA_CopyFontSets();
    ASSERT_TRUE(sets) << read.home;
    std::vector<std::string> paths;
    CollectFontPaths(sets.get(), &paths);
    ASSERT_FALSE(paths.empty());
    size_t expanded = 0;
    for (const std::string& path : paths) {
      EXPECT_NE(path.front(), '~') << path;
      expanded += path.starts_with(read.prefix);
    }
    EXPECT_GT(expanded, 0u) << read.home;
  }
}

TEST(CopyFontSetContainers, LeavesTheConnectionOpen) {
  SearchPlaces places;
  places.PutDatabase(Place::kLocal, "set_names");
  cf::Ref<cf::Dictionary> containers = QBFA_CopyFontSetContainers();
  ASSERT_TRUE(containers);
  EXPECT_EQ(Ids(*containers),
            (std::vector<std::string>{"1", "2", "3", "4", "7", "8", "9", "10", "12", "13"}));
  EXPECT_NE(db, nullptr);
}

}  // namespace
