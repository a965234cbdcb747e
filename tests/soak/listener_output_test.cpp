// What the listener prints and complains of, read back.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/soak/listener_process.h"
#include "tests/soak/publication_splitter.h"

namespace qbfa_soak {
namespace {

const std::string kFirst =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<array/>\n</plist>\n";
const std::string kSecond =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<array>\n"
    "\t<string>&lt;/plist&gt;</string>\n</array>\n</plist>\n";

// Both publications fed in pieces of every size: each comes out whole, once.
TEST(PublicationSplitter, HandsOverWholePublicationsWhateverThePieces) {
  const std::string printed = kFirst + kSecond;
  for (size_t piece = 1; piece <= printed.size(); ++piece) {
    PublicationSplitter splitter;
    std::vector<std::string> publications;
    for (size_t at = 0; at < printed.size(); at += piece) {
      for (std::string& whole : splitter.Add(std::string_view(printed).substr(at, piece)))
        publications.push_back(std::move(whole));
    }
    EXPECT_EQ(publications, (std::vector<std::string>{kFirst, kSecond})) << "pieces of " << piece;
  }
}

TEST(PublicationSplitter, HoldsBackAnUnfinishedPublication) {
  PublicationSplitter splitter;
  EXPECT_TRUE(splitter.Add(kFirst.substr(0, kFirst.size() - 1)).empty());
  EXPECT_EQ(splitter.Add("\n"), std::vector<std::string>{kFirst});
}

struct ComplaintsCase {
  const char* name;
  const char* errors;
  bool subscribed;
  size_t empty_reads;
  const char* others;
};

class ListenerComplaintsTest : public testing::TestWithParam<ComplaintsCase> {};

TEST_P(ListenerComplaintsTest, SortsWhatTheListenerWrote) {
  const ComplaintsCase& c = GetParam();
  const ListenerComplaints complaints = ReadComplaints(c.errors);
  EXPECT_EQ(complaints.subscribed, c.subscribed);
  EXPECT_EQ(complaints.empty_reads, c.empty_reads);
  EXPECT_EQ(complaints.others, c.others);
}

#define NOTHING "qbfa sets: nothing has been published on the pasteboard com.x.pasteboard.fap yet\n"

INSTANTIATE_TEST_SUITE_P(
    Outputs, ListenerComplaintsTest,
    testing::Values(ComplaintsCase{"NotYetStarted", "", false, 0, ""},
                    ComplaintsCase{"Subscribed", NOTHING, true, 0, ""},
                    ComplaintsCase{"TwoEmptyReads", NOTHING NOTHING NOTHING, true, 2, ""},
                    ComplaintsCase{
                        "OtherComplaints",
                        NOTHING "qbfa sets: cannot read the pasteboard com.x.pasteboard.fap (error "
                                "-36)\n==7==ERROR: AddressSanitizer: SEGV",
                        true, 0,
                        "qbfa sets: cannot read the pasteboard com.x.pasteboard.fap (error -36)\n"
                        "==7==ERROR: AddressSanitizer: SEGV\n"}),
    [](const testing::TestParamInfo<ComplaintsCase>& info) { return info.param.name; });

}  // namespace
}  // namespace qbfa_soak
