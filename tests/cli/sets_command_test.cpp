// `qbfa sets` as a process, on pasteboards and notifications the test makes.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/notifications.h"
#include "tests/reader/qbfa_process.h"
#include "tests/support/background_process.h"
#include "tests/support/environment.h"
#include "tests/support/pasteboard_text.h"
#include "tests/support/session_bus.h"
#include "tests/support/temporary_home.h"

namespace {

using qbfa_test::RunQbfa;

const std::string kQbfa = QBFA_BINARY_DIR "/cli/qbfa";
constexpr char kPasteboard[] = QBFA_BUNDLE_IDENTIFIER ".pasteboard.fap";
constexpr char kUpdated[] = QBFA_BUNDLE_IDENTIFIER ".fontsetsupdated.fap";

std::string Plist(const std::string& body) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
         "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
         "<plist version=\"1.0\">\n" +
         body + "\n</plist>\n";
}

const std::string kOneSet = Plist(
    "<array><dict><key>SetName</key><string>Web</string><key>Fonts</key><array><dict>"
    "<key>kQBFontInfoPostScriptName</key><string>Elbe Sans</string></dict></array></dict>"
    "</array>");

// As the plug-in publishes: the pasteboard first, then the notification.
void Publish(const std::string& xml) {
  ASSERT_TRUE(qbfa_test::ReplacePasteboard(kPasteboard, "com.apple.xml-plist", xml));
  CFNotificationCenterPostNotification(CFNotificationCenterGetDistributedCenter(), kUpdated,
                                       "BLAH!", nullptr, false);
}

class SetsCommandTest : public testing::Test {
 protected:
  qbfa_test::TemporaryHome home_;
};

TEST_F(SetsCommandTest, PrintsWhatIsPublishedOrSaysWhyNot) {
  const std::string nothing =
      std::string("qbfa sets: nothing has been published on the pasteboard ") + kPasteboard +
      " yet\n";
  struct Case {
    const char* name;
    const char* flavor;  // nullptr: the pasteboard was never written
    std::string data;
    std::vector<std::string> arguments;
    int exit_code;
    std::string out;
    std::string err;
  };
  const Case cases[] = {
      {"never published", nullptr, "", {"sets"}, 1, "", nothing},
      {"another flavor",
       "public.utf8-plain-text",
       "hello",
       {"sets"},
       1,
       "",
       std::string("qbfa sets: the pasteboard ") + kPasteboard +
           " holds no com.apple.xml-plist data\n"},

      {"tree", "com.apple.xml-plist", kOneSet, {"sets"}, 0, "+ Web\n    - Elbe Sans\n", ""},
      {"xml, byte for byte",
       "com.apple.xml-plist",
       kOneSet,
       {"sets", "--format", "xml"},
       0,
       kOneSet,
       ""},
      {"json",
       "com.apple.xml-plist",
       kOneSet,
       {"sets", "--format", "JSON"},
       0,
       "[\n  {\n    \"SetName\": \"Web\",\n    \"Fonts\": [\n      {\n        "
       "\"kQBFontInfoPostScriptName\": \"Elbe Sans\"\n      }\n    ]\n  }\n]\n",
       ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    if (c.flavor != nullptr) {
      ASSERT_TRUE(qbfa_test::ReplacePasteboard(kPasteboard, c.flavor, c.data));
    }
    qbfa_test::CommandResult result = RunQbfa(c.arguments);
    EXPECT_EQ(result.exit_code, c.exit_code);
    EXPECT_EQ(result.out, c.out);
    EXPECT_EQ(result.err, c.err);
  }
}

TEST_F(SetsCommandTest, SaysWhyThePublicationIsNoPropertyList) {
  struct Case {
    const char* name;
    std::string data;
    std::string reason;
  };
  const Case cases[] = {
      {"not a property list", "<html/>",
       "<html>, which is no property-list element (line 1, column 1)"},
      {"truncated", kOneSet.substr(0, kOneSet.find("Web") + 2),
       "the document ends inside <string> (truncated?) (line 4, column 32)"},
      {"an entity", "<!DOCTYPE plist [<!ENTITY e \"x\">]><plist><string>&e;</string></plist>",
       "a reference to the entity &e; which is not one of XML's five (entities a DOCTYPE "
       "declares are never expanded) (line 1, column 50)"},
      {"not UTF-8", Plist("<string>\xC3</string>"), "bytes that are not UTF-8 (line 4, column 9)"},
      {"a number", Plist("<integer>7</integer>"),
       "<integer>, a type the values lack (they are strings, booleans, arrays and "
       "dictionaries) (line 4, column 1)"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ASSERT_TRUE(qbfa_test::ReplacePasteboard(kPasteboard, "com.apple.xml-plist", c.data));
    qbfa_test::CommandResult result = RunQbfa({"sets"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, std::string("qbfa sets: the data on the pasteboard ") + kPasteboard +
                              " is not a property list: " + c.reason + "\n");
  }
}

TEST_F(SetsCommandTest, FollowsEveryPublicationUntilTheBusGoesAway) {
  qbfa_test::PrivateSessionBus bus;
  ASSERT_TRUE(bus.running()) << bus.error();
  qbfa_test::BackgroundProcess listener({kQbfa, "sets", "--follow"});
  ASSERT_TRUE(listener.WaitForOutput("nothing has been published", true)) << listener.err();

  Publish(kOneSet);
  const std::string first = "== font sets published ==\n+ Web\n    - Elbe Sans\n";
  ASSERT_TRUE(listener.WaitForOutput(first)) << listener.out();
  Publish(Plist("<array/>"));
  EXPECT_TRUE(listener.WaitForOutput(first + "== font sets published ==\n(no font sets)\n"))
      << listener.out();

  bus.Stop();
  EXPECT_EQ(listener.Wait(), 2);
  EXPECT_TRUE(listener.err().ends_with("qbfa sets: lost the session bus\n")) << listener.err();
}

TEST_F(SetsCommandTest, CannotFollowWithoutASessionBus) {
  qbfa_test::ScopedEnvironmentVariable nowhere("DBUS_SESSION_BUS_ADDRESS",
                                               "unix:path=" + home_.root() + "/no-bus");
  qbfa_test::CommandResult result = RunQbfa({"sets", "--follow"});
  EXPECT_EQ(result.exit_code, 2);
  EXPECT_EQ(result.err.rfind("qbfa sets: cannot listen on the session bus: ", 0), 0u) << result.err;
}

}  // namespace
