#include "core/connection.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>

#include "reader/set_reader.h"
#include "state.h"
#include "tests/core/plugin_test_support.h"
#include "tests/support/child_process.h"

namespace {

using qbfa_test::CapturedLog;
using qbfa_test::Place;
using qbfa_test::SearchPlaces;

const char kWatcherFailure[] =
    "[QB] Could not create thread to check for kqueue events (that means I won't know if font "
    "sets were updated. Error -108 occurred.\n";

// The watcher is started once per process, so every test that can start it
// runs in a child process of its own.
void InFreshProcess(const std::function<void()>& body) {
  int result = qbfa_test::RunInChildProcess([&] {
    body();
    std::fflush(stdout);
    return testing::Test::HasFailure() ? 1 : 0;
  });
  EXPECT_EQ(result, 0) << "the child process's failures are printed above";
}

TEST(Connect, NoDatabaseAnywhere) {
  SearchPlaces places;
  sqlite* const untouched = reinterpret_cast<sqlite*>(&places);
  db = untouched;
  CapturedLog log;
  EXPECT_EQ(QBFA_ConnectToDatabase(), fnfErr);
  EXPECT_EQ(db, untouched);
  db = nullptr;
  EXPECT_EQ(log.Take(), "[QB] Cannot find FontAgent Pro database\n");
  EXPECT_TRUE(places.watcher_calls.empty());
}

TEST(Connect, FileThatIsNoDatabase) {
  SearchPlaces places;
  std::string path = places.PutDatabase(Place::kLocal, "corrupt_random_after_header");
  CapturedLog log;
  EXPECT_EQ(QBFA_ConnectToDatabase(), kQBFACannotOpenDatabaseErr);
  EXPECT_EQ(db, nullptr);
  EXPECT_EQ(log.Take(),
            "[QB] Unable to open database \"" + path + "\": database disk image is malformed\n");
  EXPECT_TRUE(places.watcher_calls.empty());
}

// A path over the 1024 bytes the connection has room for: the URL is found
// in a domain, so the connect reports success without opening anything, and
// the reader, finding no connection, connects again before giving up.
TEST(Connect, PathTooLongSucceedsWithoutOpening) {
  SearchPlaces places;
  const std::string line = places.PutDatabaseBeyondPathLimit();

  CapturedLog log;
  EXPECT_EQ(QBFA_ConnectToDatabase(), noErr);
  EXPECT_EQ(db, nullptr);
  EXPECT_EQ(log.Take(), line);

  gLogStuff = true;
  EXPECT_FALSE(QBFA_CopyFontSets());
  std::string url = places.DatabaseURL(Place::kLocal) + "\n";
  EXPECT_EQ(log.Take(), url + url + line) << "no \"Done saving\": the reader stops at once";
  EXPECT_TRUE(places.watcher_calls.empty());
}

TEST(Connect, WatcherStartsOnlyOnce) {
  InFreshProcess([] {
    SearchPlaces places;
    std::string path = places.PutDatabase(Place::kUser);
    CapturedLog log;

    places.watcher_status = memFullErr;
    EXPECT_EQ(QBFA_ConnectToDatabase(), memFullErr);
    EXPECT_NE(db, nullptr) << "a failed watcher start leaves the database open";
    EXPECT_EQ(log.Take(), kWatcherFailure);
    qbfa_test::CloseDatabase();

    places.watcher_status = noErr;
    EXPECT_EQ(QBFA_ConnectToDatabase(), noErr) << "tried again after the failure";
    EXPECT_NE(db, nullptr);
    qbfa_test::CloseDatabase();

    places.watcher_status = memFullErr;
    EXPECT_EQ(QBFA_ConnectToDatabase(), noErr) << "no second start";
    EXPECT_NE(db, nullptr);
    EXPECT_EQ(places.watcher_calls, (std::vector<std::string>{path, path}));
    EXPECT_EQ(log.Take(), "");
  });
}

TEST(Connect, FailedOpenLeavesTheWatcherUnstarted) {
  InFreshProcess([] {
    SearchPlaces places;
    places.PutDatabase(Place::kLocal, "corrupt_random_after_header");
    EXPECT_EQ(QBFA_ConnectToDatabase(), kQBFACannotOpenDatabaseErr);
    std::string path = places.PutDatabase(Place::kLocal);
    EXPECT_EQ(QBFA_ConnectToDatabase(), noErr);
    EXPECT_EQ(places.watcher_calls, std::vector<std::string>{path});
  });
}

// Once the watcher runs, a database that only the fallback path finds is
// reported with the user domain's failure, though it is open.
TEST(Connect, FallbackOnlyFailsAfterTheFirstConnect) {
  InFreshProcess([] {
    SearchPlaces places;
    places.PutDatabase(Place::kFallback);
    EXPECT_EQ(QBFA_ConnectToDatabase(), noErr) << "the watcher's status replaces the search's";
    qbfa_test::CloseDatabase();
    CapturedLog log;
    EXPECT_EQ(QBFA_ConnectToDatabase(), fnfErr);
    EXPECT_NE(db, nullptr);
    EXPECT_EQ(log.Take(), "");
    EXPECT_EQ(places.watcher_calls.size(), 1u);
  });
}

}  // namespace
