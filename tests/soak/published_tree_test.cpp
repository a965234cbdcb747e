#include "tests/soak/published_tree.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "hookwright/log.h"
#include "tests/soak/font_moves.h"

namespace qbfa_soak {
namespace {

using qbfa_test::FontLibrary;

class PublishedTreeTest : public testing::Test {
 protected:
  void SetUp() override {
    char directory[] = "/tmp/qbfa-published-tree-XXXXXX";
    ASSERT_NE(mkdtemp(directory), nullptr);
    directory_ = directory;
    qbfa_test::FontDatabaseShape shape;
    shape.font_count = 30;
    shape.fonts_per_set = 6;
    library_ = qbfa_test::GenerateFontLibrary(shape);
  }
  void TearDown() override {
    hookwright::SetLogSink(previous_sink_);
    std::filesystem::remove_all(directory_);
  }

  std::string Tree(const FontLibrary& library) {
    return PublishedTree(LibraryImage(library), directory_ + "/copy.db");
  }

  std::string directory_;
  FontLibrary library_;
  std::string log_;
  hookwright::LogSink previous_sink_ =
      hookwright::SetLogSink([this](std::string_view bytes) { log_.append(bytes); });
};

TEST_F(PublishedTreeTest, MovingAFontChangesTheTree) {
  const std::string before = Tree(library_);
  EXPECT_TRUE(before.starts_with("<?xml"));
  EXPECT_EQ(Tree(library_), before);
  FontMoves moves(library_, 1);
  ASSERT_TRUE(moves.MoveOne());
  EXPECT_NE(Tree(moves.library()), before);
}

// The soak takes the sets of a library without relationships to be what the
// plug-in publishes when its statement over rel fails, as one that waited
// out the writer's lock does.
TEST_F(PublishedTreeTest, AFailedReadOfTheLinksGivesTheTreeOfALibraryWithoutThem) {
  FontLibrary unlinked = library_;
  unlinked.relationships.clear();
  std::vector<uint8_t> image = LibraryImage(unlinked);
  // The same file with rel renamed xel in the schema (page 2: its name, the
  // name of its table and its CREATE statement), so the statement over rel
  // fails: "no such table".
  const std::string rel = "rel";
  const auto schema_begin = image.begin() + 1024;
  const auto schema_end = image.begin() + 2048;
  int renamed = 0;
  for (auto at = std::search(schema_begin, schema_end, rel.begin(), rel.end()); at != schema_end;
       at = std::search(at, schema_end, rel.begin(), rel.end())) {
    *at = 'x';
    ++renamed;
  }
  ASSERT_EQ(renamed, 3);
  const std::string failed = PublishedTree(image, directory_ + "/failed.db");
  EXPECT_NE(log_.find("Unable to find relationship table"), std::string::npos) << log_;
  EXPECT_EQ(failed, Tree(unlinked));
  EXPECT_NE(failed, Tree(library_));
}

}  // namespace
}  // namespace qbfa_soak
