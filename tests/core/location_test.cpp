#include "core/location.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "state.h"
#include "tests/core/plugin_test_support.h"

namespace {

using qbfa_test::CapturedLog;
using qbfa_test::Place;
using qbfa_test::SearchPlaces;

struct SearchCase {
  const char* name;
  std::vector<Place> files;
  bool localFolderMissing;
  OSStatus status;
  std::optional<Place> found;
  int urlLines;  // how often the log switch makes the found URL show
};

class FinalFilePath : public testing::TestWithParam<SearchCase> {};

TEST_P(FinalFilePath, SearchesLocalThenUserThenFallback) {
  const SearchCase& c = GetParam();
  for (bool logging : {false, true}) {
    SearchPlaces places;
    for (Place place : c.files)
      places.PutDatabase(place);
    if (c.localFolderMissing)
      places.MoveLibraryFolder(Place::kLocal, places.root() + "/gone");
    gLogStuff = logging;
    CapturedLog log;

    cf::Ref<cf::URL> url;
    EXPECT_EQ(QBFA_CopyFinalFilePath(&url), c.status);

    std::string shown;
    if (c.found) {
      ASSERT_TRUE(url);
      EXPECT_EQ(url->path(), places.DatabasePath(*c.found));
      for (int i = 0; i < c.urlLines; ++i)
        shown += places.DatabaseURL(*c.found) + "\n";
    } else {
      EXPECT_FALSE(url);
      shown = "(null)\n";
    }
    EXPECT_EQ(log.Take(), logging ? shown : "") << (logging ? "log on" : "log off");
  }
}

INSTANTIATE_TEST_SUITE_P(
    Outcomes, FinalFilePath,
    testing::Values(
        SearchCase{"EverywhereTakesLocal",
                   {Place::kLocal, Place::kUser, Place::kFallback},
                   false,
                   noErr,
                   Place::kLocal,
                   2},
        SearchCase{
            "UserBeforeFallback", {Place::kUser, Place::kFallback}, false, noErr, Place::kUser, 2},
        // Found, yet reported with the user domain's failure.
        SearchCase{"FallbackOnly", {Place::kFallback}, false, fnfErr, Place::kFallback, 1},
        SearchCase{"Nowhere", {}, false, fnfErr, std::nullopt, 0},
        SearchCase{"MissingLocalFolderIsPassedOver", {Place::kUser}, true, noErr, Place::kUser, 2}),
    [](const testing::TestParamInfo<SearchCase>& info) { return std::string(info.param.name); });

TEST(FinalFilePath, NullOutParameterSearchesNothing) {
  SearchPlaces places;
  places.PutDatabase(Place::kLocal);
  gLogStuff = true;
  CapturedLog log;
  EXPECT_EQ(QBFA_CopyFinalFilePath(nullptr), paramErr);
  EXPECT_EQ(log.Take(), "");
}

TEST(FinalFilePath, SearchesAgainOnEveryCall) {
  SearchPlaces places;
  cf::Ref<cf::URL> url;
  EXPECT_EQ(QBFA_CopyFinalFilePath(&url), fnfErr);
  places.PutDatabase(Place::kUser);
  EXPECT_EQ(QBFA_CopyFinalFilePath(&url), noErr);
  ASSERT_TRUE(url);
  EXPECT_EQ(url->path(), places.DatabasePath(Place::kUser));
}

TEST(PathForDomain, StatusAndOutParameter) {
  SearchPlaces places;
  places.PutDatabase(Place::kUser);
  const cf::Ref<cf::URL> untouched = cf::URL::CreateWithFileSystemPath("/untouched");
  struct {
    const char* name;
    FSVolumeRefNum domain;
    bool nullOut;
    OSStatus status;
    bool found;
  } cases[] = {
      {"zero domain", 0, false, paramErr, false},
      {"null out", kUserDomain, true, paramErr, false},
      {"system domain", -32767, false, paramErr, false},
      {"no file in the folder", kLocalDomain, false, fnfErr, false},
      {"file there", kUserDomain, false, noErr, true},
  };
  for (const auto& c : cases) {
    cf::Ref<cf::URL> url = untouched;
    EXPECT_EQ(QBFA_CopyPathForDomain(c.domain, c.nullOut ? nullptr : &url), c.status) << c.name;
    EXPECT_EQ(url->path(), c.found ? places.DatabasePath(Place::kUser) : "/untouched") << c.name;
  }
  places.MoveLibraryFolder(Place::kLocal, places.root() + "/gone");
  cf::Ref<cf::URL> url;
  EXPECT_EQ(QBFA_CopyPathForDomain(kLocalDomain, &url), fnfErr) << "the folder search's own status";
  EXPECT_FALSE(url);
}

TEST(ExpandedString, NewStringOrNull) {
  qbfa_test::ScopedEnvironmentVariable home("HOME", "/home/tester");
  EXPECT_FALSE(QBFA_CopyExpandedString(nullptr));
  for (const auto& [in, out] : std::vector<std::pair<std::string, std::string>>{
           {"~/Library/Fonts/A.otf", "/home/tester/Library/Fonts/A.otf"},
           {"/Library/Fonts/A.otf", "/Library/Fonts/A.otf"},
           {"~nosuchuser-qbfa/C.ttf", "~nosuchuser-qbfa/C.ttf"}}) {
    cf::Ref<cf::String> path = cf::String::Create(in);
    cf::Ref<cf::String> expanded = QBFA_CopyExpandedString(path.get());
    ASSERT_TRUE(expanded);
    EXPECT_EQ(expanded->utf8(), out);
    EXPECT_NE(expanded.get(), path.get());
  }
}

}  // namespace
