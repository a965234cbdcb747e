#include "cli/defaults_command.h"

#include <gtest/gtest.h>
#include <plist/plist.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "cli/plist_text.h"
#include "platform/preferences.h"
#include "platform/preferences_file.h"
#include "tests/support/temporary_home.h"

namespace {

constexpr char kDomain[] = "com.example.Test";

struct Outcome {
  int exit_code;
  std::string out;
  std::string err;
};

// Runs `qbfa defaults ARGS...` in this process.
Outcome Defaults(std::vector<std::string> args) {
  args.insert(args.begin(), {"qbfa", "defaults"});
  std::vector<char*> argv;
  for (std::string& arg : args)
    argv.push_back(arg.data());
  std::ostringstream out, err;
  CLI::App app;
  RegisterDefaultsCommand(app, out, err);
  int exit_code = 0;
  try {
    app.parse(static_cast<int>(argv.size()), argv.data());
  } catch (const CLI::ParseError& e) {
    exit_code = e.get_exit_code();
  }
  return {exit_code, out.str(), err.str()};
}

class DefaultsCommandTest : public testing::Test {
 protected:
  qbfa_test::TemporaryHome home_;
};

TEST_F(DefaultsCommandTest, AUserSessionOfWritesReadsAndDeletes) {
  struct Step {
    std::vector<std::string> args;
    int exit_code;
    std::string out;
    std::string err_contains;
  };
  const std::vector<Step> steps = {
      {{"read", kDomain}, 1, "", "the domain com.example.Test does not exist"},
      {{"write", kDomain, "Log Stuff", "-bool", "YES"}, 0, "", ""},
      {{"read", kDomain, "Log Stuff"}, 0, "1\n", ""},
      {{"write", kDomain, "Name", "two words"}, 0, "", ""},
      {{"write", kDomain, "Count", "-int", "-5"}, 0, "", ""},
      {{"write", kDomain, "Scale", "-float", "0.25"}, 0, "", ""},
      {{"write", kDomain, "Plain", "-string", "-bool"}, 0, "", ""},
      {{"read", kDomain},
       0,
       "{\n    Count = -5;\n    \"Log Stuff\" = 1;\n    Name = \"two words\";\n"
       "    Plain = -bool;\n    Scale = 0.25;\n}\n",
       ""},
      {{"read", kDomain, "Name"}, 0, "two words\n", ""},
      {{"read", kDomain, "Missing"}, 1, "", "(com.example.Test, Missing) does not exist"},
      {{"write", kDomain, "Log Stuff", "-bool", "maybe"}, 1, "", "not a boolean"},
      {{"write", kDomain, "Count", "-int", "5x"}, 1, "", "not an integer"},
      {{"write", kDomain, "Scale", "-float", ""}, 1, "", "not a number"},
      {{"write", kDomain, "Count", "-date", "now"}, 1, "", "unknown value type -date"},
      {{"write", kDomain, "Count"}, 1, "", "too few arguments"},
      {{"write", kDomain, "Count", "-int", "1", "2"}, 1, "", "usage"},
      {{"write", "../escape", "Key", "value"}, 1, "", "cannot name a preferences file"},
      {{"write", kDomain, "Log Stuff", "-boolean", "no"}, 0, "", ""},
      {{"read", kDomain, "Log Stuff"}, 0, "0\n", ""},
      {{"delete", kDomain, "Name"}, 0, "", ""},
      {{"delete", kDomain, "Name"}, 1, "", "(com.example.Test, Name) does not exist"},
      {{"read", kDomain, "Count"}, 0, "-5\n", ""},
      {{"delete", kDomain}, 0, "", ""},
      {{"delete", kDomain}, 1, "", "does not exist"},
      {{"delete"}, 106, "", ""},  // CLI11's code for a missing argument
  };
  for (const Step& step : steps) {
    std::string shown;
    for (const std::string& arg : step.args)
      shown += " " + arg;
    SCOPED_TRACE("qbfa defaults" + shown);
    Outcome outcome = Defaults(step.args);
    EXPECT_EQ(outcome.exit_code, step.exit_code);
    EXPECT_EQ(outcome.out, step.out);
    if (step.err_contains.empty()) {
      EXPECT_EQ(outcome.err, "");
    } else {
      EXPECT_NE(outcome.err.find(step.err_contains), std::string::npos) << outcome.err;
    }
  }
}

TEST_F(DefaultsCommandTest, ThePlugInReadsWhatWasWritten) {
  // Without a domain, read means the host product's own.
  ASSERT_EQ(Defaults({"write", QBFA_BUNDLE_IDENTIFIER, "Log Stuff", "-bool", "true"}).exit_code, 0);
  EXPECT_EQ(Defaults({"read"}).out, "{\n    \"Log Stuff\" = 1;\n}\n");
  bool valid = false;
  EXPECT_TRUE(CFPreferencesGetAppBooleanValue("Log Stuff", QBFA_BUNDLE_IDENTIFIER, &valid));
  EXPECT_TRUE(valid);
}

TEST_F(DefaultsCommandTest, AnUnreadableFileIsNeverOverwritten) {
  const std::string path = PreferencesFilePath(kDomain);
  std::ofstream(path) << "not a property list";
  Outcome outcome = Defaults({"write", kDomain, "Log Stuff", "-bool", "yes"});
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_NE(outcome.err.find("is not a property list"), std::string::npos) << outcome.err;
  std::ifstream in(path);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "not a property list");
}

TEST(PlistText, PrintsEveryKindAsTheDefaultsToolDoes) {
  UniquePlist root(plist_new_dict());
  plist_t list = plist_new_array();
  plist_array_append_item(list, plist_new_string("plain-word_1.2/x:$"));
  plist_array_append_item(list, plist_new_string(""));
  plist_array_append_item(list, plist_new_string("say \"hi\"\\\n\t\x01"));
  plist_array_append_item(list, plist_new_string("caf\xc3\xa9"));
  plist_t inner = plist_new_dict();
  plist_dict_set_item(inner, "b", plist_new_bool(0));
  plist_dict_set_item(inner, "a", plist_new_array());
  plist_array_append_item(list, inner);
  plist_dict_set_item(root.get(), "list", list);
  plist_dict_set_item(root.get(), "data", plist_new_data("\x00\xff", 2));
  plist_dict_set_item(root.get(), "date", plist_new_date(86400, 0));
  plist_dict_set_item(root.get(), "real", plist_new_real(-1.5));
  plist_dict_set_item(root.get(), "big", plist_new_uint(1ull << 40));

  EXPECT_EQ(PlistText(root.get()),
            "{\n"
            "    big = 1099511627776;\n"
            "    data = {length = 2, bytes = 0x00ff};\n"
            "    date = \"2001-01-02 00:00:00 +0000\";\n"
            "    list = (\n"
            "        plain-word_1.2/x:$,\n"
            "        \"\",\n"
            "        \"say \\\"hi\\\"\\\\\\n\\t\\001\",\n"
            "        \"caf\xc3\xa9\",\n"
            "        {\n"
            "            a = (\n"
            "            );\n"
            "            b = 0;\n"
            "        }\n"
            "    );\n"
            "    real = -1.5;\n"
            "}");
}

TEST(PlistText, RefusesWhatNestsTooDeeply) {
  UniquePlist root(plist_new_array());
  plist_t level = root.get();
  for (int i = 0; i < 1000; ++i) {
    plist_t next = plist_new_array();
    plist_array_append_item(level, next);
    level = next;
  }
  EXPECT_EQ(PlistText(root.get()), std::nullopt);
}

}  // namespace
