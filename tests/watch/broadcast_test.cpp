#include "watch/broadcast.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/notification_listener.h"
#include "platform/pasteboard.h"
#include "platform/xml.h"
#include "state.h"
#include "tests/core/listening_process_test.h"
#include "tests/core/plugin_test_support.h"
#include "tests/support/child_process.h"
#include "tests/support/pasteboard_text.h"
#include "tests/support/temporary_home.h"

namespace {

using qbfa_test::FlavorLine;
using qbfa_test::PasteboardText;

constexpr char kBoard[] = "com.example.pasteboard.fap";
constexpr char kOtherBoard[] = "com.example.other.pasteboard.fap";
constexpr char kUpdated[] = "com.example.fontsetsupdated.fap";
constexpr char kTextFlavor[] = "public.utf8-plain-text";

const std::vector<DistributedNotification> kBothNotifications = {
    {kUpdated, "BLAH!"},
    {"NSFontCollectionChangedNotification", "Crunchy Raw Unboned Quillbox Notification"},
};

cf::Ref<cf::Array> SampleTree() {
  auto font = cf::Dictionary::Create();
  font->Set("kQBFontInfoPostScriptName", cf::MakeString("Korvel Sans Bold"));
  font->Set("kQBFontInfoFilePath", cf::MakeString("/Library/Fonts/KorvelSans-Bold.otf"));
  font->Set("kQBFontInfoFontFormat", cf::MakeString("OTTO"));
  auto fonts = cf::Array::Create();
  fonts->Append(font);
  auto set = cf::Dictionary::Create();
  set->Set("SetName", cf::MakeString("Headlines"));
  set->Set("FontSetType", cf::MakeString("FAP"));
  set->Set("Fonts", fonts);
  auto tree = cf::Array::Create();
  tree->Append(set);
  return tree;
}

// A tree the XML writer refuses: a URL is no property-list value.
cf::Ref<cf::Array> TreeWithURL() {
  cf::Ref<cf::Array> tree = SampleTree();
  tree->Append(cf::URL::CreateWithFileSystemPath("/Library/Fonts"));
  return tree;
}

std::string PublishedLine(const cf::Array* tree) {
  return FlavorLine(1, "com.apple.xml-plist", CFPropertyListCreateXMLData(tree).value());
}

// Every call here must be the first broadcast of its process: the pasteboard
// reference the broadcast keeps can never be reset.
class BroadcastTest : public qbfa_test::ListeningProcessTest {
 protected:
  void SetUp() override {
    ListeningProcessTest::SetUp();
    gLogStuff = false;
  }
  void TearDown() override {
    SetPasteboardTestHooks({});
    gLogStuff = false;
  }

  qbfa_test::TemporaryHome home_;
  qbfa_test::CapturedLog log_;
};

TEST_F(BroadcastTest, PublishesTheTreeThenTellsEveryoneInOrder) {
  struct Case {
    const char* name;
    cf::Ref<cf::Array> tree;
    bool log_stuff;
    const char* log;
  };
  // One broadcast per process, so the cases run one after another on the
  // pasteboard the first opened, which is what a host does too.
  const Case cases[] = {
      {"a tree, quietly", SampleTree(), false, ""},
      {"an empty tree, with the log switch on", cf::Array::Create(), true, "[QB] Notified!\n"},
      {"a tree again", SampleTree(), true, "[QB] Notified!\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    gLogStuff = c.log_stuff;
    EXPECT_EQ(QBFA_NotificateAllOfSetChange(c.tree.get(), kBoard, kUpdated), noErr);
    EXPECT_EQ(PasteboardText(kBoard), PublishedLine(c.tree.get()));
    EXPECT_EQ(Received(), kBothNotifications);
    EXPECT_EQ(log_.Take(), c.log);
  }
}

TEST_F(BroadcastTest, LaterCallsKeepThePasteboardTheFirstOneOpened) {
  cf::Ref<cf::Array> first = SampleTree();
  cf::Ref<cf::Array> second = cf::Array::Create();
  ASSERT_EQ(QBFA_NotificateAllOfSetChange(first.get(), kBoard, kUpdated), noErr);
  ASSERT_EQ(QBFA_NotificateAllOfSetChange(second.get(), kOtherBoard, kUpdated), noErr);
  EXPECT_EQ(PasteboardText(kBoard), PublishedLine(second.get()));
  EXPECT_EQ(PasteboardText(kOtherBoard), "(never created)");
}

// Another program's publications on the same pasteboard.
const std::string kTheirs = FlavorLine(1, kTextFlavor, "theirs");
const std::string kTheirsLater = FlavorLine(1, kTextFlavor, "theirs, later");

struct FailureRow {
  const char* name;
  bool null_tree;
  bool unserialisable;
  std::function<PasteboardTestHooks()> hooks;
  OSStatus expected;
  // What the pasteboard holds afterwards; it held kTheirs before.
  std::string left;
  // Whether the failing call opened the pasteboard for good: the next call
  // then publishes there, whatever name it passes.
  bool opened;
};

void PrintTo(const FailureRow& row, std::ostream* out) {
  *out << row.name;
}

class BroadcastFailureTest : public BroadcastTest,
                             public testing::WithParamInterface<FailureRow> {};

TEST_P(BroadcastFailureTest, ReportsTheFailureAndTellsNobody) {
  const FailureRow& row = GetParam();
  ASSERT_TRUE(qbfa_test::ReplacePasteboard(kBoard, kTextFlavor, "theirs"));
  cf::Ref<cf::Array> tree = row.unserialisable ? TreeWithURL() : SampleTree();
  gLogStuff = true;
  SetPasteboardTestHooks(row.hooks ? row.hooks() : PasteboardTestHooks{});
  OSStatus status =
      QBFA_NotificateAllOfSetChange(row.null_tree ? nullptr : tree.get(), kBoard, kUpdated);
  SetPasteboardTestHooks({});

  EXPECT_EQ(status, row.expected);
  EXPECT_EQ(PasteboardText(kBoard), row.left);
  EXPECT_EQ(Received(qbfa_test::kSilence), std::vector<DistributedNotification>{});
  EXPECT_EQ(log_.Take(), "");

  // Nothing sticks but the opened pasteboard: the next call publishes.
  cf::Ref<cf::Array> next = SampleTree();
  EXPECT_EQ(QBFA_NotificateAllOfSetChange(next.get(), kOtherBoard, kUpdated), noErr);
  EXPECT_EQ(PasteboardText(row.opened ? kBoard : kOtherBoard), PublishedLine(next.get()));
  EXPECT_EQ(Received(), kBothNotifications);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, BroadcastFailureTest,
    testing::Values(FailureRow{"NullTree", true, false, nullptr, paramErr, kTheirs, false},
                    FailureRow{"CreateFails", false, false,
                               [] { return PasteboardTestHooks{.create = [] { return permErr; }}; },
                               permErr, kTheirs, false},
                    FailureRow{"ClearFails", false, false,
                               [] { return PasteboardTestHooks{.clear = [] { return ioErr; }}; },
                               ioErr, kTheirs, true},
                    FailureRow{"ModifiedSinceTheClear", false, false,
                               [] {
                                 return PasteboardTestHooks{
                                     .synchronize = [] { return kPasteboardModified; }};
                               },
                               badPasteboardSyncErr, "", true},
                    // Another program publishes between the clear and the synchronise:
                    // the pasteboard was modified and is no longer ours, and theirs stays.
                    FailureRow{"TakenByAnotherProgram", false, false,
                               [] {
                                 return PasteboardTestHooks{.synchronize = [] {
                                   qbfa_test::RunInChildProcess([] {
                                     return qbfa_test::ReplacePasteboard(kBoard, kTextFlavor,
                                                                         "theirs, later")
                                                ? 0
                                                : 1;
                                   });
                                   return PasteboardSyncFlags{0};
                                 }};
                               },
                               notPasteboardOwnerErr, kTheirsLater, true},
                    FailureRow{"UnserialisableTree", false, true, nullptr, noErr, "", true},
                    FailureRow{"PutFails", false, false,
                               [] { return PasteboardTestHooks{.put = [] { return ioErr; }}; },
                               ioErr, "", true}),
    [](const testing::TestParamInfo<FailureRow>& info) { return std::string(info.param.name); });

}  // namespace
