#include "tests/soak/font_moves.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "sqlite2/sqlite.h"

namespace qbfa_soak {
namespace {

using qbfa_test::FontLibrary;
using qbfa_test::Relationship;

FontLibrary SmallLibrary() {
  qbfa_test::FontDatabaseShape shape;
  shape.font_count = 40;
  shape.fonts_per_set = 8;
  return qbfa_test::GenerateFontLibrary(shape);
}

std::map<int, std::multiset<int>> SetsOfEachFont(const FontLibrary& library) {
  std::map<int, std::multiset<int>> sets;
  for (const Relationship& link : library.relationships) {
    if (link.type == Relationship::Child::kFont)
      sets[link.child].insert(link.parent);
  }
  return sets;
}

std::vector<Relationship> SetLinks(const FontLibrary& library) {
  std::vector<Relationship> links;
  for (const Relationship& link : library.relationships) {
    if (link.type == Relationship::Child::kSet)
      links.push_back(link);
  }
  return links;
}

TEST(FontMoves, MovesOneFontToASetItIsNotInAndFilesItLast) {
  const FontLibrary original = SmallLibrary();
  FontMoves moves(original, 7);
  for (int i = 0; i < 200; ++i) {
    const FontLibrary before = moves.library();
    ASSERT_TRUE(moves.MoveOne());
    const FontLibrary& after = moves.library();
    ASSERT_EQ(after.relationships.size(), before.relationships.size());
    EXPECT_EQ(SetLinks(after), SetLinks(original));
    const Relationship& moved = after.relationships.back();
    ASSERT_EQ(moved.type, Relationship::Child::kFont);
    // Every font is still in two different sets; only the moved one changed.
    std::map<int, std::multiset<int>> sets_before = SetsOfEachFont(before);
    const std::map<int, std::multiset<int>> sets_after = SetsOfEachFont(after);
    for (const auto& [font, sets] : sets_after) {
      EXPECT_EQ(sets.size(), 2u) << font;
      EXPECT_EQ(std::set<int>(sets.begin(), sets.end()).size(), 2u) << font;
      if (font != moved.child) {
        EXPECT_EQ(sets, sets_before[font]) << font;
      }
    }
    EXPECT_EQ(sets_before[moved.child].count(moved.parent), 0u);
    // The others keep their order: the moved one was taken out, and its
    // new one put last.
    const std::vector<Relationship>& old = before.relationships;
    const std::vector<Relationship>& now = after.relationships;
    size_t taken = 0;
    while (taken + 1 < now.size() && old[taken] == now[taken])
      ++taken;
    EXPECT_EQ(old[taken].type, Relationship::Child::kFont);
    EXPECT_EQ(old[taken].child, moved.child);
    EXPECT_TRUE(std::equal(old.begin() + static_cast<ptrdiff_t>(taken) + 1, old.end(),
                           now.begin() + static_cast<ptrdiff_t>(taken), now.end() - 1));
  }
}

TEST(FontMoves, NothingMovesWhenEveryFontIsInEverySet) {
  FontLibrary full = SmallLibrary();
  full.sets.resize(2);
  full.relationships.clear();
  for (int font = 1; font <= 3; ++font) {
    for (int set = 1; set <= 2; ++set)
      full.relationships.push_back({set, Relationship::Child::kFont, font});
  }
  FontMoves moves(full, 1);
  EXPECT_FALSE(moves.MoveOne());
  EXPECT_EQ(moves.library().relationships, full.relationships);
}

// The file holds the relationships in the library's order, as the host
// reads them.
TEST(FontMoves, TheImageHoldsTheLibraryAsItStands) {
  FontMoves moves(SmallLibrary(), 3);
  for (int i = 0; i < 10; ++i)
    ASSERT_TRUE(moves.MoveOne());
  const std::vector<uint8_t> image = LibraryImage(moves.library());
  char directory[] = "/tmp/qbfa-font-moves-XXXXXX";
  ASSERT_NE(mkdtemp(directory), nullptr);
  const std::string path = std::string(directory) + "/fonts.db";
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(image.data()),
             static_cast<std::streamsize>(image.size()));

  sqlite* db = sqlite_open(path.c_str(), 0, nullptr);
  ASSERT_NE(db, nullptr);
  std::vector<Relationship> read;
  char* error = nullptr;
  const int rc = sqlite_exec(
      db, "SELECT parentID, childtype, childid FROM rel",
      [](void* context, int, char** values, char**) {
        static_cast<std::vector<Relationship>*>(context)->push_back(
            {std::stoi(values[0]), static_cast<Relationship::Child>(std::stoi(values[1])),
             std::stoi(values[2])});
        return 0;
      },
      &read, &error);
  EXPECT_EQ(rc, SQLITE_OK) << (error ? error : "");
  sqlite_freemem(error);
  sqlite_close(db);
  std::filesystem::remove_all(directory);
  EXPECT_EQ(read, moves.library().relationships);
}

}  // namespace
}  // namespace qbfa_soak
