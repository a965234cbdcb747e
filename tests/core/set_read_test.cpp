// The one read of the set tree that start-up, the refresh and `qbfa read`
// share, and what their plans change about it.
#include "core/set_read.h"

#include <gtest/gtest.h>


#include "diag/duration.h"
#include "platform/values.h"
#include "reader/set_reader.h"
#include "state.h"
#include "tests/core/plugin_test_support.h"

namespace {

using qbfa_test::CapturedLog;
using qbfa_test::FixturePath;
using qbfa_test::Place;
using qbfa_test::SearchPlaces;

// What the searched database reads as, for comparisons.
cf::Ref<cf::Array> SearchedSets() {
  cf::Ref<cf::Array> sets = QBFA_CopyFontSets();
  qbfa_test::CloseDatabase();
  return sets;
}

// A given file is read although another database waits in the searched
// places, and nothing is watched.
TEST(SetRead, AGivenFileIsTheOnlyPlaceAndIsNotWatched) {
  SearchPlaces places;
  places.PutDatabase(Place::kLocal, "basic");
  const qbfa::DatabaseSource given = qbfa::GivenDatabase(FixturePath("set_names"));
  qbfa::SetReadPlan plan;
  plan.source = &given;
  qbfa::SetRead read = qbfa::ReadFontSets(plan);
  EXPECT_EQ(read.status, noErr);
  ASSERT_TRUE(read.sets);
  EXPECT_EQ(db, nullptr) << "closed after the read";

  EXPECT_TRUE(places.watcher_calls.empty());

  cf::Ref<cf::Array> again = qbfa::CopyFontSets(given);
  ASSERT_TRUE(again);
  EXPECT_TRUE(cf::Equal(read.sets.get(), again.get()));
  cf::Ref<cf::Array> searched = SearchedSets();
  ASSERT_TRUE(searched);
  EXPECT_FALSE(cf::Equal(read.sets.get(), searched.get()));
}

TEST(SetRead, AGivenFileThatIsNotThere) {
  SearchPlaces places;
  places.PutDatabase(Place::kLocal, "basic");
  const qbfa::DatabaseSource given = qbfa::GivenDatabase(places.root() + "/nowhere.db");
  qbfa::SetReadPlan plan;
  plan.source = &given;
  AbsoluteTime start{};
  plan.read_start = &start;
  CapturedLog log;
  qbfa::SetRead read = qbfa::ReadFontSets(plan);
  EXPECT_EQ(read.status, fnfErr);
  EXPECT_FALSE(read.sets);
  EXPECT_EQ(UnsignedWideToUInt64(start), 0u) << "no read, so no read time";
  EXPECT_EQ(log.Take(), "[QB] Cannot find FontAgent Pro database\n");
}

TEST(SetRead, TheLogSwitchIsSetFirstOrLeftAlone) {
  struct Case {
    std::optional<bool> log_switch;
    bool before;
    bool after;
  };
  const Case cases[] = {{true, false, true},
                        {false, true, false},
                        {std::nullopt, true, true},
                        {std::nullopt, false, false}};
  for (const Case& c : cases) {
    SearchPlaces places;
    const qbfa::DatabaseSource given = qbfa::GivenDatabase(FixturePath("basic"));
    qbfa::SetReadPlan plan;
    plan.source = &given;
    plan.log_switch = c.log_switch;
    gLogStuff = c.before;
    CapturedLog log;
    qbfa::ReadFontSets(plan);
    EXPECT_EQ(gLogStuff, c.after);
    // With the switch on, the search's URL line comes first of all.
    const std::string text = log.Take();
    EXPECT_EQ(text.rfind("file://", 0) == 0, c.after) << text;
  }
}

// A path over the connection's 1024 bytes: the connect succeeds without
// opening anything. Start-up lets the set reader connect again; a refresh
// stops there.
TEST(SetRead, AConnectThatOpensNothing) {
  struct Case {
    bool read_without_connection;
    int connects;
  };
  for (const Case c : {Case{true, 2}, Case{false, 1}}) {
    SearchPlaces places;
    const std::string line = places.PutDatabaseBeyondPathLimit();

    qbfa::SetReadPlan plan;
    plan.read_without_connection = c.read_without_connection;
    CapturedLog log;
    qbfa::SetRead read = qbfa::ReadFontSets(plan);
    EXPECT_EQ(read.status, noErr);
    EXPECT_FALSE(read.sets);
    std::string expected;
    for (int i = 0; i < c.connects; ++i)
      expected += line;
    EXPECT_EQ(log.Take(), expected);
  }
}

// A connect that failed after opening the file left it open: the next read
// closes it before connecting again.
TEST(SetRead, ClosesWhatAFailedConnectLeftOpen) {
  SearchPlaces places;
  places.PutDatabase(Place::kUser);
  char* error = nullptr;
  db = sqlite_open(FixturePath("basic").c_str(), 0, &error);
  ASSERT_NE(db, nullptr);
  const qbfa::DatabaseSource given = qbfa::GivenDatabase(FixturePath("basic"));
  qbfa::SetReadPlan plan;
  plan.source = &given;
  EXPECT_TRUE(qbfa::ReadFontSets(plan).sets);
  EXPECT_EQ(db, nullptr);
}

}  // namespace
