// Marking the sets stale and refreshing them at a front switch, on the main
// thread, with the real reader and broadcast over fixture databases.
#include "watch/refresh.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "core/connection.h"
#include "platform/pasteboard.h"
#include "reader/set_reader.h"
#include "state.h"
#include "tests/core/plugin_test_support.h"
#include "tests/support/temporary_home.h"
#include "watch/broadcast.h"

namespace {

using qbfa_test::CapturedLog;
using qbfa_test::Place;
using qbfa_test::SearchPlaces;

// The broadcast opens its pasteboard once per process and keeps it, so it is
// opened here, under a runtime folder that outlives every test. Notifications
// go to a bus address with nothing behind it.
class PublicationHome : public testing::Environment {
 public:
  void SetUp() override {
    home_ = std::make_unique<qbfa_test::TemporaryHome>();
    bus_.emplace("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + home_->root() + "/no-bus");
    ASSERT_EQ(QBFA_NotificateAllOfSetChange(cf::Array::Create().get(), kQBSetsPasteboardName,
                                            kQBSetsUpdatedNotificationName),
              noErr);
  }
  void TearDown() override {
    bus_.reset();
    home_.reset();
  }

 private:
  std::unique_ptr<qbfa_test::TemporaryHome> home_;
  std::optional<qbfa_test::ScopedEnvironmentVariable> bus_;
};

[[maybe_unused]] testing::Environment* const kPublicationHome =
    testing::AddGlobalTestEnvironment(new PublicationHome);

// The lines of the refresh, the connect and the broadcast, without what the
// reader prints along the way (and without the handler's installation, which
// happens once per process, in whichever test comes first).
std::string RefreshLines(const std::string& log) {
  static const char* const kPrefixes[] = {
      "[QB] Updating",  "[QB] Old sets", "[QB] Notified",
      "[QB] Could not", "[QB] Cannot",   "[QB] Unable to",
  };
  std::istringstream lines(log);
  std::string kept;
  for (std::string line; std::getline(lines, line);) {
    for (const char* prefix : kPrefixes) {
      if (line.starts_with(prefix)) {
        kept += line + "\n";
        break;
      }
    }
  }
  return kept;
}

size_t OpenDescriptorCount() {
  auto entries = std::filesystem::directory_iterator("/proc/self/fd");
  return static_cast<size_t>(std::distance(begin(entries), end(entries)));
}

class Refresh : public testing::Test {
 protected:
  void SetUp() override {
    // One successful connect starts the watcher (recorded here), as start-up
    // does; connects after it start none.
    places_.PutDatabase(Place::kUser, "basic");
    ASSERT_EQ(QBFA_ConnectToDatabase(), noErr);
    qbfa_test::CloseDatabase();
    std::filesystem::remove(places_.DatabasePath(Place::kUser));
    gShouldUpdateSets = false;
    gLastKnownSets = nullptr;
    gLogStuff = true;
    SetPasteboardTestHooks({.put = [this] {
      ++publications_;
      return noErr;
    }});
    log_.Take();
  }

  void TearDown() override {
    SetPasteboardTestHooks({});
    gShouldUpdateSets = false;
    gLastKnownSets = nullptr;
  }

  // The tree start-up would have read from `fixture`.
  cf::Ref<cf::Array> TreeOf(const std::string& fixture) {
    const std::string path = places_.PutDatabase(Place::kUser, fixture);
    cf::Ref<cf::Array> tree = QBFA_CopyFontSets();
    std::filesystem::remove(path);
    log_.Take();
    return tree;
  }

  OSStatus Switch() { return QBFA_FrontSwitchedHandler(nullptr, nullptr, nullptr); }

  SearchPlaces places_;
  CapturedLog log_;
  int publications_ = 0;
};

TEST_F(Refresh, SwitchesAfterChanges) {
  struct Case {
    const char* what;
    const char* last_known;  // the tree start-up published; null: none
    const char* database;    // at the user's place when switching; null: none anywhere
    int changes;
    int switches;
    int publications;
    bool replaces_last_known;
    std::string lines;
  };
  const std::string updating = "[QB] Updating font sets\n";
  const Case cases[] = {
      {"a switch with nothing pending", "basic", "set_names", 0, 2, 0, false, ""},
      {"three changes, then switches: one re-read", "basic", "set_names", 3, 2, 1, true,
       updating + "[QB] Notified!\n"},
      {"an equal tree", "basic", "basic", 1, 1, 0, false,
       updating + "[QB] Old sets and new sets are equal. Bummers.\n"},
      {"no tree published at start-up: whatever is read", nullptr, "basic", 1, 1, 1, true,
       updating + "[QB] Notified!\n"},
      {"the database gone: the mark is cleared all the same", "basic", nullptr, 1, 2, 0, false,
       updating + "[QB] Cannot find FontAgent Pro database\n"},
      {"a read that gives no tree", "basic", "empty_tables", 1, 2, 0, false, updating},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    gLastKnownSets = c.last_known ? TreeOf(c.last_known) : nullptr;
    const cf::Array* const start_up_tree = gLastKnownSets.get();
    if (c.database)
      places_.PutDatabase(Place::kUser, c.database);
    publications_ = 0;
    for (int i = 0; i < c.changes; ++i)
      EXPECT_EQ(QBFA_CheckDatabaseForUpdatedSets(nullptr), nullptr);
    log_.Take();
    for (int i = 0; i < c.switches; ++i)
      EXPECT_EQ(Switch(), noErr);

    EXPECT_EQ(RefreshLines(log_.Take()), c.lines);
    EXPECT_EQ(publications_, c.publications);
    EXPECT_EQ(gLastKnownSets.get() != start_up_tree, c.replaces_last_known);
    if (c.replaces_last_known && c.database) {
      EXPECT_TRUE(cf::Equal(gLastKnownSets.get(), TreeOf(c.database).get()));
    }
    EXPECT_FALSE(gShouldUpdateSets);
    EXPECT_EQ(db, nullptr) << "the reader closes what the refresh opened";
    std::filesystem::remove(places_.DatabasePath(Place::kUser));
  }
}

TEST_F(Refresh, AFailedPublicationStillCountsAsKnown) {
  gLastKnownSets = TreeOf("basic");
  places_.PutDatabase(Place::kUser, "set_names");
  SetPasteboardTestHooks({.put = [] { return OSStatus{-25133}; }});
  QBFA_CheckDatabaseForUpdatedSets(nullptr);
  EXPECT_EQ(Switch(), noErr);
  EXPECT_EQ(RefreshLines(log_.Take()),
            "[QB] Updating font sets\n[QB] Could not tell others that the sets have changed "
            "because of error -25133. Darn error -25133!\n");
  EXPECT_TRUE(cf::Equal(gLastKnownSets.get(), TreeOf("set_names").get()));

  places_.PutDatabase(Place::kUser, "set_names");
  QBFA_CheckDatabaseForUpdatedSets(nullptr);
  EXPECT_EQ(Switch(), noErr);
  EXPECT_EQ(RefreshLines(log_.Take()),
            "[QB] Updating font sets\n[QB] Old sets and new sets are equal. Bummers.\n");
}

// A database found only at the fallback path makes every connect after the
// first report failure with the file open: nothing is read, and the handle
// stays until the next refresh closes it.
TEST_F(Refresh, AConnectThatFailsWithTheFileOpen) {
  gLastKnownSets = TreeOf("basic");
  places_.PutDatabase(Place::kFallback, "set_names");
  std::vector<size_t> descriptors;
  for (int refresh = 0; refresh < 3; ++refresh) {
    QBFA_CheckDatabaseForUpdatedSets(nullptr);
    EXPECT_EQ(Switch(), noErr);
    EXPECT_NE(db, nullptr);
    descriptors.push_back(OpenDescriptorCount());
  }
  // Each refresh closed the connection the one before left open.
  EXPECT_EQ(descriptors[1], descriptors[0]);
  EXPECT_EQ(descriptors[2], descriptors[0]);
  EXPECT_EQ(publications_, 0);
  const std::string updating = "[QB] Updating font sets\n";
  EXPECT_EQ(RefreshLines(log_.Take()), updating + updating + updating);
  qbfa_test::CloseDatabase();
}

TEST_F(Refresh, TheHandlerIsInstalledOnceAndCalledForFrontSwitches) {
  for (int i = 0; i < 3; ++i)
    QBFA_CheckDatabaseForUpdatedSets(nullptr);
  // Installed by the first change this process saw, in this test or before.
  const std::string log = log_.Take();
  EXPECT_EQ(log.find("[QB] Installing event handler.\n"), log.rfind("[QB] Installing"));
  places_.PutDatabase(Place::kUser, "basic");
  EXPECT_EQ(GetApplicationEventTarget()->Dispatch({kEventClassApplication, kEventAppFrontSwitched}),
            1u);
  EXPECT_EQ(publications_, 1);
  EXPECT_EQ(GetApplicationEventTarget()->Dispatch({kEventClassApplication, kEventAppFrontSwitched}),
            1u);
  EXPECT_EQ(publications_, 1);
}

}  // namespace
