#include "platform/file_ref.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;

// 1 January 2001 00:00:00 GMT in Unix time.
constexpr time_t k2001 = 978307200;

class FileRefTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::path(::testing::TempDir()) / "file-ref-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir_ = fs::canonical(pattern);
    file_ = dir_ / "FontAgent.db";
    Create(file_);
  }
  void TearDown() override { fs::remove_all(dir_); }

  static void Create(const fs::path& path) {
    FILE* file = fopen(path.c_str(), "w");
    ASSERT_NE(file, nullptr);
    fclose(file);
  }

  static void SetModified(const fs::path& path, time_t seconds, long nanoseconds) {
    struct timespec times[2] = {{0, UTIME_OMIT}, {seconds, nanoseconds}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  }

  static FSRef RefTo(const fs::path& path) {
    FSRef ref;
    auto url = cf::URL::CreateWithFileSystemPath(path.string());
    EXPECT_TRUE(CFURLGetFSRef(url.get(), &ref)) << path;
    return ref;
  }

  static std::string PathOf(const FSRef& ref) {
    uint8_t path[1024];
    if (FSRefMakePath(&ref, path, sizeof path) != noErr)
      return "<no path>";
    return reinterpret_cast<const char*>(path);
  }

  static UTCDateTime DateOf(const FSRef& ref) {
    FSCatalogInfo info{};
    EXPECT_EQ(FSGetCatalogInfo(&ref, kFSCatInfoContentMod, &info, nullptr, nullptr, nullptr),
              noErr);
    return info.contentModDate;
  }

  static CFAbsoluteTime AbsoluteDateOf(const FSRef& ref) {
    UTCDateTime date = DateOf(ref);
    CFAbsoluteTime time = -12345.0;
    EXPECT_EQ(UCConvertUTCDateTimeToCFAbsoluteTime(&date, &time), noErr);
    return time;
  }

  fs::path dir_, file_;
};

TEST_F(FileRefTest, OnlyReachableFilesGetAReference) {
  FSRef ref;
  EXPECT_FALSE(CFURLGetFSRef(nullptr, &ref));
  for (const std::string& path :
       {(dir_ / "missing.db").string(), (dir_ / "missing" / "FontAgent.db").string(),
        (file_ / "not-a-folder").string(), file_.string() + std::string("\0/elsewhere", 11)}) {
    auto url = cf::URL::CreateWithFileSystemPath(path);
    EXPECT_FALSE(CFURLGetFSRef(url.get(), &ref)) << path;
  }
  EXPECT_EQ(PathOf(RefTo(file_)), file_.string());
}

TEST_F(FileRefTest, FollowsTheFileThroughRenames) {
  FSRef ref = RefTo(file_);
  SetModified(file_, k2001 + 100, 0);
  fs::create_directory(dir_ / "elsewhere");
  fs::rename(file_, dir_ / "elsewhere" / "moved.db");
  fs::rename(dir_ / "elsewhere", dir_ / "renamed");
  EXPECT_EQ(PathOf(ref), (dir_ / "renamed" / "moved.db").string());
  EXPECT_EQ(AbsoluteDateOf(ref), 100.0);
}

TEST_F(FileRefTest, DoesNotFollowAFileThatTakesItsName) {
  FSRef ref = RefTo(file_);
  SetModified(file_, k2001 + 100, 0);
  fs::rename(file_, dir_ / "old.db");
  Create(file_);
  SetModified(file_, k2001 + 200, 0);
  EXPECT_EQ(PathOf(ref), (dir_ / "old.db").string());
  EXPECT_EQ(AbsoluteDateOf(ref), 100.0);

  // Replaced outright, the file has no name left: the reference has vanished.
  FSRef replaced = RefTo(file_);
  Create(dir_ / "newer.db");
  fs::rename(dir_ / "newer.db", file_);
  uint8_t path[1024];
  FSCatalogInfo info;
  EXPECT_EQ(FSRefMakePath(&replaced, path, sizeof path), fnfErr);
  EXPECT_EQ(FSGetCatalogInfo(&replaced, kFSCatInfoContentMod, &info, nullptr, nullptr, nullptr),
            fnfErr);
}

TEST_F(FileRefTest, PathMustFitTheBuffer) {
  FSRef ref = RefTo(file_), empty;
  const std::string expected = file_.string();
  uint8_t path[1024];
  EXPECT_EQ(FSRefMakePath(&ref, path, expected.size()), paramErr);
  EXPECT_EQ(FSRefMakePath(&ref, path, expected.size() + 1), noErr);
  EXPECT_EQ(reinterpret_cast<const char*>(path), expected);
  EXPECT_EQ(FSRefMakePath(&empty, path, sizeof path), fnfErr);
}

TEST_F(FileRefTest, CatalogReadAnswersOnlyTheContentDate) {
  FSRef ref = RefTo(file_), empty, parent;
  FSCatalogInfo info;
  EXPECT_EQ(FSGetCatalogInfo(&ref, kFSCatInfoContentMod | 0x20, &info, nullptr, nullptr, nullptr),
            paramErr);
  EXPECT_EQ(FSGetCatalogInfo(&ref, kFSCatInfoContentMod, &info, nullptr, nullptr, &parent),
            paramErr);
  EXPECT_EQ(FSGetCatalogInfo(&empty, kFSCatInfoContentMod, &info, nullptr, nullptr, nullptr),
            fnfErr);
}

TEST_F(FileRefTest, ContentDatesAsCatalogAndAbsoluteTime) {
  struct Case {
    const char* name;
    time_t unix_seconds;
    long nanoseconds;
    uint16_t high_seconds;
    uint32_t low_seconds;
    uint16_t fraction;
    CFAbsoluteTime absolute;
  } cases[] = {
      {"2001", k2001, 0, 0, 3061152000u, 0, 0.0},
      {"2001 plus 1 ns", k2001, 1, 0, 3061152000u, 0, 1e-9},
      {"a second before 2001", k2001 - 1, 0, 0, 3061151999u, 0, -1.0},
      {"half a second", k2001 + 86400, 500000000, 0, 3061238400u, 32768, 86400.5},
      {"1970", 0, 0, 0, 2082844800u, 0, -978307200.0},
      {"1904", -2082844800, 0, 0, 0, 0, -3061152000.0},
      {"before 1904 shows as 1904", -2082844800 - 86400, 999999999, 0, 0, 0, -3061152000.0},
      // Past 2040 the seconds since 1904 need more than 32 bits.
      {"2050", 2524608000, 0, 1, 312485504u, 0, 1546300800.0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    SetModified(file_, c.unix_seconds, c.nanoseconds);
    FSRef ref = RefTo(file_);
    UTCDateTime date = DateOf(ref);
    EXPECT_EQ(date.highSeconds, c.high_seconds);
    EXPECT_EQ(date.lowSeconds, c.low_seconds);
    EXPECT_EQ(date.fraction, c.fraction);
    EXPECT_DOUBLE_EQ(AbsoluteDateOf(ref), c.absolute);
  }
}

TEST_F(FileRefTest, DatesOneNanosecondApartDiffer) {
  FSRef ref = RefTo(file_);
  const time_t now = time(nullptr);
  SetModified(file_, now, 123456789);
  UTCDateTime first = DateOf(ref);
  SetModified(file_, now, 123456790);
  UTCDateTime second = DateOf(ref);
  EXPECT_EQ(second.lowSeconds, first.lowSeconds);
  EXPECT_EQ(second.nanoseconds, first.nanoseconds + 1);
}

TEST(UTCDateConversionTest, RejectsBadArguments) {
  UTCDateTime date{0, 0, 0, 1000000000};
  CFAbsoluteTime time = 7.0;
  EXPECT_EQ(UCConvertUTCDateTimeToCFAbsoluteTime(&date, &time), paramErr);
  EXPECT_EQ(time, 7.0);
  EXPECT_EQ(UCConvertUTCDateTimeToCFAbsoluteTime(nullptr, &time), paramErr);
  date.nanoseconds = 0;
  EXPECT_EQ(UCConvertUTCDateTimeToCFAbsoluteTime(&date, nullptr), paramErr);
}

}  // namespace
