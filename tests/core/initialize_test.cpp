#include "core/initialize.h"

#include <gtest/gtest.h>
#include <plist/plist.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/notification_listener.h"
#include "platform/pasteboard.h"
#include "platform/preferences_file.h"
#include "platform/xml.h"
#include "reader/set_reader.h"
#include "state.h"
#include "tests/core/listening_process_test.h"
#include "tests/core/plugin_test_support.h"
#include "tests/reader/qbfa_process.h"
#include "tests/support/pasteboard_text.h"

namespace {

using qbfa_test::FlavorLine;
using qbfa_test::kSilence;
using qbfa_test::PasteboardText;
using qbfa_test::Place;

const std::vector<DistributedNotification> kBothNotifications = {
    {QBFA_BUNDLE_IDENTIFIER ".fontsetsupdated.fap", "BLAH!"},
    {"NSFontCollectionChangedNotification", "Crunchy Raw Unboned Quillbox Notification"},
};

// Writes the "Log Stuff" preference as `qbfa defaults write` leaves it;
// without a value, no preferences file at all.
void WriteLogStuff(plist_t (*make_value)()) {
  if (make_value == nullptr)
    return;
  UniquePlist root(plist_new_dict());
  plist_dict_set_item(root.get(), "Log Stuff", make_value());
  std::string error;
  ASSERT_TRUE(WritePreferencesDomain(QBFA_BUNDLE_IDENTIFIER, root.get(), &error)) << error;
}

// Start-up connects once per process: the watcher is started on the first
// connect only, so every test needs a process of its own.
class InitializeTest : public qbfa_test::ListeningProcessTest {
 protected:
  void SetUp() override {
    ListeningProcessTest::SetUp();
    gLastKnownSets = nullptr;
  }
  void TearDown() override {
    SetPasteboardTestHooks({});
    SetUpTimeSourceForTesting(nullptr);
    gLastKnownSets = nullptr;
  }

  qbfa_test::SearchPlaces places_;
  qbfa_test::CapturedLog log_;
};

struct LogSwitchCase {
  const char* name;
  plist_t (*preference)();
  bool logging;
};

void PrintTo(const LogSwitchCase& c, std::ostream* out) {
  *out << c.name;
}

class InitializeLogSwitchTest : public InitializeTest,
                                public testing::WithParamInterface<LogSwitchCase> {};

TEST_P(InitializeLogSwitchTest, PublishesWhatQbfaReadPrints) {
  const LogSwitchCase& c = GetParam();
  WriteLogStuff(c.preference);
  const std::string database = places_.PutDatabase(Place::kUser, "basic");
  const qbfa_test::CommandResult read = qbfa_test::RunQbfa({"read", database});
  ASSERT_EQ(read.exit_code, 0) << read.err;

  EXPECT_EQ(QBFA_Initialize(), noErr);

  EXPECT_EQ(gLogStuff, c.logging);
  EXPECT_EQ(db, nullptr);
  EXPECT_EQ(places_.watcher_calls, std::vector<std::string>{database});
  EXPECT_EQ(PasteboardText(QBFA_BUNDLE_IDENTIFIER ".pasteboard.fap"),
            FlavorLine(1, "com.apple.xml-plist", read.out));
  ASSERT_NE(gLastKnownSets, nullptr);
  EXPECT_EQ(CFPropertyListCreateXMLData(gLastKnownSets.get()), read.out);
  EXPECT_EQ(Received(), kBothNotifications);

  const std::string log = log_.Take();
  for (const char* gated : {"[QB] Operation took ", "[QB] Notified!\n", "file://"}) {
    EXPECT_EQ(log.find(gated) != std::string::npos, c.logging) << gated << " in:\n" << log;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Preference, InitializeLogSwitchTest,
    testing::Values(LogSwitchCase{"Absent", nullptr, false},
                    LogSwitchCase{"False", [] { return plist_new_bool(0); }, false},
                    LogSwitchCase{"True", [] { return plist_new_bool(1); }, true},
                    LogSwitchCase{"YesString", [] { return plist_new_string("YES"); }, true}),
    [](const testing::TestParamInfo<LogSwitchCase>& info) { return std::string(info.param.name); });

TEST_F(InitializeTest, TimesTheReadAndTheCloseOnly) {
  WriteLogStuff([] { return plist_new_bool(1); });
  places_.PutDatabase(Place::kUser, "basic");
  // 1h 2m 3.5s between the two readings; each remembers whether the
  // database was open at that moment.
  std::vector<bool> open_when_read;
  SetUpTimeSourceForTesting([&open_when_read] {
    open_when_read.push_back(db != nullptr);
    return open_when_read.size() == 1 ? uint64_t{1000} : uint64_t{1000 + 3723500000000};
  });

  EXPECT_EQ(QBFA_Initialize(), noErr);

  EXPECT_EQ(open_when_read, (std::vector<bool>{true, false}));
  const std::string log = log_.Take();
  const std::string line = "[QB] Operation took 1h: 2m: 3s: 500ms\n";
  EXPECT_NE(log.find(line), std::string::npos) << log;
  EXPECT_EQ(log.find("[QB] Operation took"), log.rfind("[QB] Operation took")) << log;
}

struct StopCase {
  const char* name;
  const char* fixture;  // nullptr: no database anywhere
  OSStatus watcher_status;
  OSStatus expected;
  bool database_left_open;
  bool duration_logged;
};

void PrintTo(const StopCase& c, std::ostream* out) {
  *out << c.name;
}

class InitializeStopsTest : public InitializeTest, public testing::WithParamInterface<StopCase> {};

// Whatever stops start-up early, nothing is published and the last known
// sets stay null.
TEST_P(InitializeStopsTest, PublishesNothing) {
  const StopCase& c = GetParam();
  WriteLogStuff([] { return plist_new_bool(1); });
  if (c.fixture != nullptr)
    places_.PutDatabase(Place::kUser, c.fixture);
  places_.watcher_status = c.watcher_status;

  EXPECT_EQ(QBFA_Initialize(), c.expected);

  EXPECT_EQ(db != nullptr, c.database_left_open);
  EXPECT_EQ(gLastKnownSets, nullptr);
  EXPECT_EQ(PasteboardText(QBFA_BUNDLE_IDENTIFIER ".pasteboard.fap"), "(never created)");
  EXPECT_EQ(Received(kSilence), std::vector<DistributedNotification>{});
  const std::string log = log_.Take();
  EXPECT_EQ(log.find("[QB] Operation took ") != std::string::npos, c.duration_logged) << log;
}

INSTANTIATE_TEST_SUITE_P(
    Cases, InitializeStopsTest,
    testing::Values(StopCase{"NoDatabase", nullptr, noErr, fnfErr, false, false},
                    // The connect opened the file but could not start the watcher: its
                    // status comes back and the file stays open for the next refresh.
                    StopCase{"WatcherDoesNotStart", "basic", ioErr, ioErr, true, false},
                    StopCase{"NoSetsToPublish", "empty_tables", noErr, noErr, false, true}),
    [](const testing::TestParamInfo<StopCase>& info) { return std::string(info.param.name); });

TEST_F(InitializeTest, KeepsTheSetsBeforePublishingAndIgnoresAFailedPublication) {
  places_.PutDatabase(Place::kUser, "basic");
  std::optional<bool> kept_when_publishing;
  SetPasteboardTestHooks({.create = [&kept_when_publishing] {
    kept_when_publishing = gLastKnownSets != nullptr;
    return permErr;
  }});

  EXPECT_EQ(QBFA_Initialize(), noErr);

  SetPasteboardTestHooks({});
  EXPECT_EQ(kept_when_publishing, true);
  cf::Ref<cf::Array> expected = QBFA_CopyFontSets();
  EXPECT_TRUE(cf::Equal(gLastKnownSets.get(), expected.get()));
  EXPECT_EQ(PasteboardText(QBFA_BUNDLE_IDENTIFIER ".pasteboard.fap"), "(never created)");
  EXPECT_EQ(Received(kSilence), std::vector<DistributedNotification>{});
}

}  // namespace
