#include "platform/file_urls.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "tests/support/temporary_home.h"

namespace {

TEST(CFURLGetFileSystemRepresentation, NeedsRoomForThePathAndItsNul) {
  uint8_t buffer[1024];
  struct {
    size_t length;
    bool fits;
  } cases[] = {{1, true}, {1022, true}, {1023, true}, {1024, false}, {5000, false}};
  for (const auto& c : cases) {
    std::string path(c.length, 'a');
    path.front() = '/';
    cf::Ref<cf::URL> url = cf::URL::CreateWithFileSystemPath(path);
    ASSERT_TRUE(url);
    bool fits = CFURLGetFileSystemRepresentation(url.get(), false, buffer, sizeof buffer);
    EXPECT_EQ(fits, c.fits) << "path of " << c.length << " bytes";
    if (fits) {
      EXPECT_EQ(reinterpret_cast<const char*>(buffer), path);
    }
  }
}

TEST(CFURLGetFileSystemRepresentation, RefusesWhatNoCStringCanCarry) {
  uint8_t buffer[64];
  cf::Ref<cf::URL> withNul = cf::URL::CreateWithFileSystemPath(std::string_view("/a\0b", 4));
  if (withNul) {
    EXPECT_FALSE(CFURLGetFileSystemRepresentation(withNul.get(), false, buffer, 64));
  }
  cf::Ref<cf::URL> url = cf::URL::CreateWithFileSystemPath("/a");
  EXPECT_FALSE(CFURLGetFileSystemRepresentation(nullptr, false, buffer, 64));
  EXPECT_FALSE(CFURLGetFileSystemRepresentation(url.get(), false, nullptr, 64));
  EXPECT_FALSE(CFURLGetFileSystemRepresentation(url.get(), false, buffer, 0));
}

TEST(CFURLCreateFromFSRef, GivesTheReferencedFilesPath) {
  qbfa_test::TemporaryHome home;
  const std::string path = home.home() + "/FontAgent.db";
  std::ofstream(path) << "x";
  FSRef ref;
  ASSERT_TRUE(CFURLGetFSRef(cf::URL::CreateWithFileSystemPath(path).get(), &ref));
  cf::Ref<cf::URL> url = CFURLCreateFromFSRef(&ref);
  ASSERT_TRUE(url);
  EXPECT_EQ(url->path(), path);

  FSRef empty;
  EXPECT_FALSE(CFURLCreateFromFSRef(&empty));
  EXPECT_FALSE(CFURLCreateFromFSRef(nullptr));
}

}  // namespace
