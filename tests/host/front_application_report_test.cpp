// Which reports from a desktop bridge are switches of the front application,
// and which identities the host refuses.
#include "host/front_application_report.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

struct Report {
  std::string application;
  int32_t pid;
  bool switched;
};

TEST(FrontApplicationReports, SwitchOnlyWhenTheApplicationChanges) {
  struct Case {
    const char* what;
    std::vector<Report> reports;
  };
  const Case cases[] = {
      {"the first report is a switch", {{"foot.desktop", 10, true}}},
      {"two windows of one application",
       {{"foot.desktop", 10, true}, {"foot.desktop", 10, false}, {"foot.desktop", 11, false}}},
      {"another application",
       {{"foot.desktop", 10, true}, {"wev", 11, true}, {"foot.desktop", 10, true}}},
      {"no window between two windows of one application is no switch",
       {{"foot.desktop", 10, true}, {"", 0, false}, {"foot.desktop", 10, false}}},
      {"no window first", {{"", 0, false}, {"", -1, false}, {"wev", 11, true}}},
      {"windows without an application are told apart by their process",
       {{"", 20, true}, {"", 20, false}, {"", 21, true}, {"wev", 21, true}, {"", 21, true}}},
      {"an application with an unknown process is still one",
       {{"wev", 0, true}, {"wev", -5, false}, {"wev", 11, false}, {"qmlscene", 0, true}}},
      {"identities are compared byte for byte",
       {{"Foot", 1, true}, {"foot", 1, true}, {"foot ", 1, true}, {"foot ", 1, false}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    FrontApplicationReports reports;
    for (size_t i = 0; i < c.reports.size(); ++i) {
      const Report& r = c.reports[i];
      EXPECT_EQ(reports.Take(r.application, r.pid), r.switched) << "report " << i;
    }
  }
}

TEST(FrontApplicationReports, RefusesWhatNoDesktopReports) {
  struct Case {
    std::string application;
    std::string why;
  };
  const Case cases[] = {
      {"", ""},
      {"org.gnome.TextEditor.desktop", ""},
      {"Ünïcödé-Äpp 字体", ""},
      {std::string(kMaxReportedApplicationBytes, 'a'), ""},
      {std::string(kMaxReportedApplicationBytes + 1, 'a'),
       "the application is longer than 1024 bytes"},
      {"caf\xE9", "the application is not UTF-8"},
      {"\xC0\xAF", "the application is not UTF-8"},
      {"\xED\xA0\x80", "the application is not UTF-8"},
  };
  for (const Case& c : cases)
    EXPECT_EQ(WhyRefused(c.application), c.why) << c.application;
}

}  // namespace
