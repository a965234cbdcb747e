#include "platform/pasteboard.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "hookwright/log.h"
#include "platform/pasteboard_contents.h"
#include "tests/support/child_process.h"
#include "tests/support/temporary_home.h"

namespace {

constexpr char kName[] = "com.example.test.pasteboard";

class PasteboardTest : public testing::Test {
 protected:
  ~PasteboardTest() override { SetPasteboardTestHooks({}); }

  // A new reference to `name`; fails the test when it cannot be made.
  static UniquePasteboardRef Open(std::string_view name = kName) {
    PasteboardRef pasteboard = nullptr;
    EXPECT_EQ(PasteboardCreate(name, &pasteboard), noErr);
    return UniquePasteboardRef(pasteboard);
  }

  std::string Directory(std::string_view name = kName) const {
    return home_.runtime_dir() + "/pasteboards/" + std::string(name);
  }

  qbfa_test::TemporaryHome home_;
};

// The data of one item's flavor, or the status that prevented reading it.
std::string ReadFlavor(PasteboardRef pasteboard, PasteboardItemID item, std::string_view flavor) {
  cf::Data data;
  OSStatus status = PasteboardCopyItemFlavorData(pasteboard, item, flavor, &data);
  return status == noErr ? std::string(data) : "status " + std::to_string(status);
}

TEST_F(PasteboardTest, OwnershipAndModificationFollowEachReference) {
  // Two references of one process: ownership must belong to the reference
  // that cleared, not to the process.
  UniquePasteboardRef a = Open();
  UniquePasteboardRef b = Open();
  enum Action { kClear, kSync, kPut };
  struct Step {
    PasteboardRef who;
    Action action;
    OSStatus status;            // for clear and put
    PasteboardSyncFlags flags;  // for sync
  };
  const PasteboardSyncFlags kOwner = kPasteboardClientIsOwner;
  const std::vector<Step> steps = {
      {a.get(), kPut, notPasteboardOwnerErr, 0},  // nobody cleared yet
      {a.get(), kSync, noErr, 0},
      {a.get(), kClear, noErr, 0},
      {a.get(), kSync, noErr, kOwner},  // one's own clear is no modification
      {b.get(), kSync, noErr, kPasteboardModified},
      {b.get(), kSync, noErr, 0},
      {b.get(), kPut, notPasteboardOwnerErr, 0},
      {a.get(), kPut, noErr, 0},
      {a.get(), kSync, noErr, kOwner},  // nor is one's own put
      {b.get(), kSync, noErr, kPasteboardModified},
      {b.get(), kClear, noErr, 0},
      {a.get(), kSync, noErr, kPasteboardModified},
      {a.get(), kPut, notPasteboardOwnerErr, 0},
      {b.get(), kPut, noErr, 0},
      {b.get(), kSync, noErr, kOwner},
      {a.get(), kSync, noErr, kPasteboardModified},
  };
  for (size_t i = 0; i < steps.size(); ++i) {
    const Step& step = steps[i];
    SCOPED_TRACE("step " + std::to_string(i));
    switch (step.action) {
      case kClear:
        EXPECT_EQ(PasteboardClear(step.who), step.status);
        break;
      case kSync:
        EXPECT_EQ(PasteboardSynchronize(step.who), step.flags);
        break;
      case kPut:
        EXPECT_EQ(PasteboardPutItemFlavor(step.who, 1, "flavor." + std::to_string(i), "data",
                                          kPasteboardFlavorNoFlags),
                  step.status);
        break;
    }
  }
  // What b put after its clear is all there is.
  std::vector<std::string> flavors;
  ASSERT_EQ(PasteboardCopyItemFlavors(a.get(), 1, &flavors), noErr);
  EXPECT_EQ(flavors, std::vector<std::string>{"flavor.13"});
}

TEST_F(PasteboardTest, ReadersFindItemsFlavorsAndFlagsOrAnswerWhyNot) {
  UniquePasteboardRef writer = Open();
  ASSERT_EQ(PasteboardClear(writer.get()), noErr);
  ASSERT_EQ(PasteboardPutItemFlavor(writer.get(), 7, "public.text", "seven", 0), noErr);
  ASSERT_EQ(PasteboardPutItemFlavor(writer.get(), 3, "public.text", "three", 0), noErr);
  ASSERT_EQ(PasteboardPutItemFlavor(writer.get(), 7, "com.apple.xml-plist", "<plist/>", 5), noErr);
  EXPECT_EQ(PasteboardPutItemFlavor(writer.get(), 7, "public.text", "again", 0),
            duplicatePasteboardFlavorErr);

  UniquePasteboardRef reader = Open();
  size_t count = 0;
  ASSERT_EQ(PasteboardGetItemCount(reader.get(), &count), noErr);
  EXPECT_EQ(count, 2u);

  struct IndexCase {
    size_t index;
    OSStatus status;
    PasteboardItemID item;
  };
  for (const IndexCase& c : std::vector<IndexCase>{{1, noErr, 7},
                                                   {2, noErr, 3},
                                                   {0, badPasteboardIndexErr, 0},
                                                   {3, badPasteboardIndexErr, 0}}) {
    PasteboardItemID item = 0;
    EXPECT_EQ(PasteboardGetItemIdentifier(reader.get(), c.index, &item), c.status) << c.index;
    EXPECT_EQ(item, c.item) << c.index;
  }

  std::vector<std::string> flavors;
  ASSERT_EQ(PasteboardCopyItemFlavors(reader.get(), 7, &flavors), noErr);
  EXPECT_EQ(flavors, (std::vector<std::string>{"public.text", "com.apple.xml-plist"}));
  EXPECT_EQ(PasteboardCopyItemFlavors(reader.get(), 99, &flavors), badPasteboardItemErr);

  struct DataCase {
    PasteboardItemID item;
    const char* flavor;
    std::string expected;
  };
  for (const DataCase& c : std::vector<DataCase>{
           {7, "com.apple.xml-plist", "<plist/>"},
           {3, "public.text", "three"},
           {3, "com.apple.xml-plist", "status " + std::to_string(badPasteboardFlavorErr)},
           {99, "public.text", "status " + std::to_string(badPasteboardItemErr)},
       }) {
    EXPECT_EQ(ReadFlavor(reader.get(), c.item, c.flavor), c.expected) << c.item << c.flavor;
  }
  PasteboardFlavorFlags flags = 0;
  ASSERT_EQ(PasteboardGetItemFlavorFlags(reader.get(), 7, "com.apple.xml-plist", &flags), noErr);
  EXPECT_EQ(flags, 5u);
}

TEST_F(PasteboardTest, AReferenceReadsTheVersionItLastSynchronised) {
  UniquePasteboardRef writer = Open();
  ASSERT_EQ(PasteboardClear(writer.get()), noErr);
  ASSERT_EQ(PasteboardPutItemFlavor(writer.get(), 1, "t", "old", 0), noErr);
  UniquePasteboardRef reader = Open();

  ASSERT_EQ(PasteboardClear(writer.get()), noErr);
  ASSERT_EQ(PasteboardPutItemFlavor(writer.get(), 1, "t", "new", 0), noErr);
  // Several reading calls in a row must agree with each other, so they all
  // answer from the reader's last view, not from whatever is stored now.
  EXPECT_EQ(ReadFlavor(reader.get(), 1, "t"), "old");
  EXPECT_EQ(PasteboardSynchronize(reader.get()), kPasteboardModified);
  EXPECT_EQ(ReadFlavor(reader.get(), 1, "t"), "new");
}

TEST_F(PasteboardTest, ContentsOutliveTheWritingProcess) {
  const std::string payload(100000, 'x');
  ASSERT_EQ(qbfa_test::RunInChildProcess([&] {
              PasteboardRef pasteboard = nullptr;
              if (PasteboardCreate(kName, &pasteboard) != noErr)
                return 1;
              if (PasteboardClear(pasteboard) != noErr)
                return 2;
              return PasteboardPutItemFlavor(pasteboard, 1, "com.apple.xml-plist", payload, 0) ==
                             noErr
                         ? 0
                         : 3;
            }),
            0);
  UniquePasteboardRef reader = Open();
  EXPECT_EQ(ReadFlavor(reader.get(), 1, "com.apple.xml-plist"), payload);
  // The writer's reference is gone, and its ownership with it for everyone else.
  EXPECT_EQ(PasteboardSynchronize(reader.get()) & kPasteboardClientIsOwner, 0u);
}

TEST_F(PasteboardTest, EverythingIsPrivateToTheUser) {
  UniquePasteboardRef writer = Open();
  ASSERT_EQ(PasteboardClear(writer.get()), noErr);
  ASSERT_EQ(PasteboardPutItemFlavor(writer.get(), 1, "t", "data", 0), noErr);
  for (const std::string& path : {home_.runtime_dir() + "/pasteboards", Directory()}) {
    struct stat info;
    ASSERT_EQ(stat(path.c_str(), &info), 0) << path;
    EXPECT_EQ(info.st_mode & 0777, 0700u) << path;
  }
  for (const auto& entry : std::filesystem::directory_iterator(Directory())) {
    struct stat info;
    ASSERT_EQ(stat(entry.path().c_str(), &info), 0) << entry.path();
    EXPECT_EQ(info.st_mode & 0777, 0600u) << entry.path();
  }
}

TEST_F(PasteboardTest, WithoutARuntimeDirectoryAPrivateOneUnderTmpServes) {
  qbfa_test::ScopedEnvironmentVariable no_runtime("XDG_RUNTIME_DIR", std::nullopt);
  const std::string name = "qbfa-test-" + std::to_string(getpid());
  const std::string base = "/tmp/qbfa-pasteboards-" + std::to_string(geteuid());
  {
    UniquePasteboardRef pasteboard = Open(name);
    ASSERT_NE(pasteboard, nullptr);
    EXPECT_EQ(PasteboardClear(pasteboard.get()), noErr);
  }
  struct stat info;
  ASSERT_EQ(stat(base.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0700u);
  EXPECT_TRUE(std::filesystem::exists(base + "/" + name + "/contents"));
  std::filesystem::remove_all(base + "/" + name);
}

TEST_F(PasteboardTest, UnsafeDirectoriesAreRefusedAndSayWhy) {
  const std::string base = home_.runtime_dir() + "/pasteboards";
  const std::string elsewhere = home_.root() + "/elsewhere";
  struct Case {
    const char* what;
    std::function<void()> arrange;
    const char* logged;
    bool needs_root = false;
  };
  const std::vector<Case> cases = {
      {"base is a link", [&] { symlink(elsewhere.c_str(), base.c_str()); }, "symbolic link"},
      {"pasteboard is a link",
       [&] {
         mkdir(base.c_str(), 0700);
         symlink(elsewhere.c_str(), Directory().c_str());
       },
       "symbolic link"},
      {"base open to group",
       [&] {
         mkdir(base.c_str(), 0750);
         chmod(base.c_str(), 0750);
       },
       "open to group or others"},
      {"pasteboard open to others",
       [&] {
         mkdir(base.c_str(), 0700);
         mkdir(Directory().c_str(), 0700);
         chmod(Directory().c_str(), 0755);
       },
       "open to group or others"},
      {"pasteboard of another user",
       [&] {
         mkdir(base.c_str(), 0700);
         mkdir(Directory().c_str(), 0700);
         ASSERT_EQ(chown(Directory().c_str(), 65534, 65534), 0);
       },
       "belongs to another user", /*needs_root=*/true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    // Only root can give a directory away.
    if (c.needs_root && geteuid() != 0)
      continue;
    std::filesystem::remove_all(base);
    std::filesystem::remove_all(elsewhere);
    mkdir(elsewhere.c_str(), 0700);
    c.arrange();

    std::string log;
    hookwright::LogSink previous = hookwright::SetLogSink([&](std::string_view b) { log += b; });
    PasteboardRef pasteboard = nullptr;
    EXPECT_EQ(PasteboardCreate(kName, &pasteboard), permErr);
    hookwright::SetLogSink(previous);
    EXPECT_EQ(pasteboard, nullptr);
    EXPECT_NE(log.find(kName), std::string::npos) << log;
    EXPECT_NE(log.find(c.logged), std::string::npos) << log;
  }
}

TEST_F(PasteboardTest, NamesThatAreNotOneDirectoryAreRejected) {
  const std::string too_long(256, 'n');
  for (std::string_view name :
       {std::string_view(""), std::string_view("."), std::string_view(".."),
        std::string_view("a/b"), std::string_view("a\0b", 3), std::string_view(too_long)}) {
    PasteboardRef pasteboard = nullptr;
    EXPECT_EQ(PasteboardCreate(name, &pasteboard), paramErr) << name;
    EXPECT_EQ(pasteboard, nullptr);
  }
  EXPECT_EQ(PasteboardCreate(kName, nullptr), paramErr);
}

TEST_F(PasteboardTest, ADamagedStoreReadsAsUnreadableUntilCleared) {
  UniquePasteboardRef pasteboard = Open();
  ASSERT_EQ(PasteboardClear(pasteboard.get()), noErr);
  std::ofstream(Directory() + "/contents", std::ios::trunc) << "qbfapb1\nshort";

  EXPECT_EQ(PasteboardSynchronize(pasteboard.get()), kPasteboardModified);
  size_t count = 0;
  EXPECT_EQ(PasteboardGetItemCount(pasteboard.get(), &count), ioErr);
  EXPECT_EQ(PasteboardPutItemFlavor(pasteboard.get(), 1, "t", "d", 0), notPasteboardOwnerErr);

  ASSERT_EQ(PasteboardClear(pasteboard.get()), noErr);
  EXPECT_EQ(PasteboardGetItemCount(pasteboard.get(), &count), noErr);
  EXPECT_EQ(count, 0u);
}

TEST_F(PasteboardTest, HooksFailCallsWithoutTouchingThePasteboard) {
  UniquePasteboardRef owner = Open();
  ASSERT_EQ(PasteboardClear(owner.get()), noErr);
  UniquePasteboardRef watcher = Open();

  SetPasteboardTestHooks({.create = [] { return OSStatus{-1001}; }});
  PasteboardRef failed = nullptr;
  EXPECT_EQ(PasteboardCreate(kName, &failed), -1001);
  EXPECT_EQ(failed, nullptr);

  SetPasteboardTestHooks({.clear = [] { return OSStatus{-1002}; }});
  EXPECT_EQ(PasteboardClear(watcher.get()), -1002);

  SetPasteboardTestHooks({.put = [] { return OSStatus{-1003}; }});
  EXPECT_EQ(PasteboardPutItemFlavor(owner.get(), 1, "t", "d", 0), -1003);

  // Neither the failed clear nor the failed put changed anything.
  SetPasteboardTestHooks({});
  EXPECT_EQ(PasteboardSynchronize(watcher.get()), 0u);
  EXPECT_EQ(PasteboardSynchronize(owner.get()), kPasteboardClientIsOwner);
}

TEST_F(PasteboardTest, SynchronizeHookAddsFlagsOrLetsAnotherProcessIn) {
  UniquePasteboardRef pasteboard = Open();
  ASSERT_EQ(PasteboardClear(pasteboard.get()), noErr);

  SetPasteboardTestHooks({.synchronize = [] { return kPasteboardModified; }});
  EXPECT_EQ(PasteboardSynchronize(pasteboard.get()),
            kPasteboardModified | kPasteboardClientIsOwner);

  // Another process clearing at the moment of synchronising takes the
  // pasteboard away, and the synchronise must already see it.
  SetPasteboardTestHooks({.synchronize = [] {
    qbfa_test::RunInChildProcess([] {
      PasteboardRef other = nullptr;
      return PasteboardCreate(kName, &other) == noErr && PasteboardClear(other) == noErr ? 0 : 1;
    });
    return PasteboardSyncFlags{0};
  }});
  EXPECT_EQ(PasteboardSynchronize(pasteboard.get()), kPasteboardModified);
}

TEST_F(PasteboardTest, ChangesWaitForThePasteboardLock) {
  // A change that skipped the lock could land between another writer's read
  // and its write, and be silently undone.
  UniquePasteboardRef writer = Open();
  ASSERT_EQ(PasteboardClear(writer.get()), noErr);
  struct Case {
    const char* what;
    std::function<OSStatus()> change;
  };
  const std::vector<Case> cases = {
      {"put", [&] { return PasteboardPutItemFlavor(writer.get(), 1, "t", "d", 0); }},
      {"clear", [&] { return PasteboardClear(writer.get()); }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    int lock = open((Directory() + "/lock").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_GE(lock, 0);
    ASSERT_EQ(flock(lock, LOCK_EX), 0);
    std::atomic<bool> done{false};
    std::thread changer([&] {
      EXPECT_EQ(c.change(), noErr);
      done = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_FALSE(done) << "changed while another held the lock";
    close(lock);
    changer.join();
    EXPECT_TRUE(done);
  }
}

// A payload that shows whether it arrived whole: every byte is the same, and
// the length follows from that byte.
std::string Payload(char fill) {
  return std::string(500000 + 20000 * (fill & 0x3f), fill);
}
bool IsWholePayload(std::string_view data) {
  return !data.empty() && data == Payload(data[0]);
}

TEST_F(PasteboardTest, ConcurrentWritersNeverTearAPayload) {
  constexpr int kRounds = 60;
  std::vector<pid_t> writers;
  for (char first : {'a', 'A'}) {
    writers.push_back(qbfa_test::StartChildProcess([first] {
      PasteboardRef pasteboard = nullptr;
      if (PasteboardCreate(kName, &pasteboard) != noErr) {
        return 1;
      }
      for (int round = 0; round < kRounds; ++round) {
        if (PasteboardClear(pasteboard) != noErr) {
          return 2;
        }
        OSStatus put = PasteboardPutItemFlavor(pasteboard, 1, "com.apple.xml-plist",
                                               Payload(static_cast<char>(first + round % 26)), 0);
        // The other writer may clear between our clear and our put.
        if (put != noErr && put != notPasteboardOwnerErr) {
          return 3;
        }
      }
      return 0;
    }));
  }

  UniquePasteboardRef reader = Open();
  auto check_whole = [&] {
    PasteboardSynchronize(reader.get());
    size_t count = 0;
    ASSERT_EQ(PasteboardGetItemCount(reader.get(), &count), noErr);
    ASSERT_LE(count, 1u);
    if (count == 1) {
      cf::Data data;
      ASSERT_EQ(PasteboardCopyItemFlavorData(reader.get(), 1, "com.apple.xml-plist", &data), noErr);
      ASSERT_TRUE(IsWholePayload(data)) << "torn payload of " << data.size() << " bytes";
    }
  };
  // Read for as long as anyone writes.
  std::vector<int> results;
  while (results.size() < writers.size() && !HasFatalFailure()) {
    check_whole();
    int status = 0;
    if (waitpid(-1, &status, WNOHANG) > 0) {
      results.push_back(WIFEXITED(status) ? WEXITSTATUS(status) : -1);
    }
  }
  for (pid_t writer : writers) {
    kill(writer, SIGKILL);
  }
  while (waitpid(-1, nullptr, 0) > 0) {
  }
  EXPECT_EQ(results, std::vector<int>(writers.size(), 0));

  // The last clear was followed by its own put, which nobody could interrupt.
  check_whole();
  size_t count = 0;
  EXPECT_EQ(PasteboardGetItemCount(reader.get(), &count), noErr);
  EXPECT_EQ(count, 1u);
}

TEST(PasteboardContents, SurvivesEncodingAndRejectsEveryDamage) {
  PasteboardContents contents;
  contents.change = 0x0102030405060708;
  contents.owner.fill(0xab);
  contents.items = {{1, {{"com.apple.xml-plist", 0, cf::Data::Copy("<plist/>")}, {"t", 9, {}}}},
                    {42, {}}};
  std::string fields;
  std::string bytes;
  for (std::string_view piece : EncodePasteboardContents(contents, &fields))
    bytes += piece;
  auto decode = [](std::string_view bytes) {
    return DecodePasteboardContents(cf::Data::Copy(bytes));
  };

  std::optional<PasteboardContents> decoded = decode(bytes);
  ASSERT_TRUE(decoded);
  EXPECT_EQ(decoded->change, contents.change);
  EXPECT_EQ(decoded->owner, contents.owner);
  ASSERT_EQ(decoded->items.size(), 2u);
  EXPECT_EQ(decoded->items[0].flavors[0].data, "<plist/>");
  EXPECT_EQ(decoded->items[0].flavors[1].flags, 9u);
  EXPECT_EQ(decoded->items[1].id, 42u);

  // Every cut falls inside some field; none may decode.
  for (size_t length = 0; length < bytes.size(); ++length) {
    EXPECT_FALSE(decode(std::string_view(bytes).substr(0, length))) << length;
  }
  struct Damage {
    const char* what;
    size_t offset;
    std::string replacement;
  };
  for (const Damage& d : std::vector<Damage>{
           {"magic", 0, "X"},
           {"forged item count", 32, "\xff\xff\xff\x7f"},
           {"forged flavor count", 44, "\xff\xff\xff\xff"},
           {"forged type length", 52, "\xff\xff\xff\xff"},
       }) {
    std::string damaged = bytes;
    damaged.replace(d.offset, d.replacement.size(), d.replacement);
    EXPECT_FALSE(decode(damaged)) << d.what;
  }
  EXPECT_FALSE(decode(bytes + "!")) << "trailing bytes";
}

}  // namespace
