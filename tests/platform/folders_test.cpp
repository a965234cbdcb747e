#include "platform/folders.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "platform/file_urls.h"
#include "tests/support/temporary_home.h"

namespace {

// Restores the standard Library folders when a test ends.
class FSFindFolderTest : public testing::Test {
 protected:
  void TearDown() override { SetLibraryFolderPlaces(std::nullopt); }

  std::string MakeFolder(const std::string& name) {
    std::string path = home_.root() + "/" + name;
    std::filesystem::create_directories(path);
    return path;
  }

  // The folder FSFindFolder found, or "status N".
  std::string Find(FSVolumeRefNum domain, OSType type = kDomainLibraryFolderType) {
    FSRef ref;
    OSErr status = FSFindFolder(domain, type, kDontCreateFolder, &ref);
    if (status != noErr)
      return "status " + std::to_string(status);
    cf::Ref<cf::URL> url = CFURLCreateFromFSRef(&ref);
    return url ? url->path() : std::string("(no url)");
  }

  qbfa_test::TemporaryHome home_;
};

TEST_F(FSFindFolderTest, RejectsWhatItDoesNotKnow) {
  SetLibraryFolderPlaces(LibraryFolderPlaces{MakeFolder("local"), MakeFolder("user")});
  struct {
    FSVolumeRefNum domain;
    OSType type;
  } cases[] = {
      {0, kDomainLibraryFolderType},
      {-32767, kDomainLibraryFolderType},  // the system domain
      {-32766, kDomainLibraryFolderType},  // the network domain
      {kUserDomain, FourCharCode("pref")},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Find(c.domain, c.type), "status -50") << "domain " << c.domain;
  }
  EXPECT_EQ(FSFindFolder(kUserDomain, kDomainLibraryFolderType, kDontCreateFolder, nullptr),
            paramErr);
}

TEST_F(FSFindFolderTest, FindsMovedFoldersAndNeverCreatesThem) {
  const std::string local = MakeFolder("local/Library");
  const std::string user = home_.root() + "/user/Library";
  SetLibraryFolderPlaces(LibraryFolderPlaces{local, user});

  EXPECT_EQ(Find(kLocalDomain), local);
  EXPECT_EQ(Find(kUserDomain), "status -43");
  FSRef ref;
  EXPECT_EQ(FSFindFolder(kUserDomain, kDomainLibraryFolderType, kCreateFolder, &ref), fnfErr);
  EXPECT_FALSE(std::filesystem::exists(user));

  std::ofstream(home_.root() + "/user/Library") << "a file, not a folder";
  EXPECT_EQ(Find(kUserDomain), "status -43");

  SetLibraryFolderPlaces(LibraryFolderPlaces{"", "relative/Library"});
  EXPECT_EQ(Find(kLocalDomain), "status -43");
  EXPECT_EQ(Find(kUserDomain), "status -43");
}

TEST_F(FSFindFolderTest, UserLibraryFollowsTheHomeFolder) {
  // TemporaryHome has pointed $HOME at a fresh folder without a Library.
  EXPECT_EQ(Find(kUserDomain), "status -43");
  std::filesystem::create_directory(home_.home() + "/Library");
  EXPECT_EQ(Find(kUserDomain), home_.home() + "/Library");
}

TEST_F(FSFindFolderTest, SetLibraryFolderPlacesHandsBackThePreviousPlaces) {
  EXPECT_FALSE(SetLibraryFolderPlaces(LibraryFolderPlaces{"/a", "/b"}).has_value());
  std::optional<LibraryFolderPlaces> previous = SetLibraryFolderPlaces(std::nullopt);
  ASSERT_TRUE(previous.has_value());
  EXPECT_EQ(previous->local, "/a");
  EXPECT_EQ(previous->user, "/b");
}

}  // namespace
