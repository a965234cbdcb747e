// Damaged files read as the real library reads them: what each statement
// returns when a cell's key or data size is wrong, when an overflow chain
// ends early, points past the end of the file or loops, and how a page
// that fails its check once is used by the statements after it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "sqlite2/format/page.h"
#include "sqlite2/sqlite.h"
#include "tests/sqlite2_writer/database.h"
#include "tests/sqlite2/read_support.h"
#include "tests/sqlite2_writer/scratch_dir.h"

namespace sqlite2::testing {
namespace {

using format::kPageSize;

// A value, with every run of more than 8 equal bytes shown as "<c*N>".
std::string Show(const char* value) {
  std::string shown;
  for (const char* at = value; *at != '\0';) {
    const size_t run = std::strspn(at, std::string(1, *at).c_str());
    if (run > 8)
      shown.append(1, '<').append(1, *at).append(1, '*').append(std::to_string(run)).append(1, '>');
    else
      shown.append(at, run);
    at += run;
  }
  return shown;
}

int AddRow(void* answer, int argc, char** argv, char**) {
  std::string& text = *static_cast<std::string*>(answer);
  for (int i = 0; i < argc; ++i)
    text += std::string(i == 0 ? "" : "|") + (argv[i] ? Show(argv[i]) : "NULL");
  text += "; ";
  return 0;
}

// The rows a statement returns, each followed by "; ", then its rc.
std::string Answer(sqlite* db, const std::string& sql) {
  std::string answer;
  const int rc = sqlite_exec(db, sql.c_str(), AddRow, &answer, nullptr);
  return answer + "rc " + std::to_string(rc);
}

// A file of the writer's, damaged in place: little-endian integers stored
// at file offsets.
struct Image {
  std::vector<uint8_t> bytes;

  // Where row `rowid`'s cell is, while its key is still sound.
  size_t CellOf(int32_t rowid) const {
    const std::vector<RowCell> cells = RowCells(bytes);
    const auto cell = std::find_if(cells.begin(), cells.end(),
                                   [&](const RowCell& c) { return c.rowid == rowid; });
    EXPECT_NE(cell, cells.end()) << rowid;
    return cell != cells.end() ? cell->at : 0;
  }
  uint32_t Load32(size_t at) const {
    return format::Load32(&bytes[at], format::ByteOrder::kLittleEndian);
  }
  size_t PageAt(uint32_t page) const { return size_t{page - 1} * kPageSize; }
  void Store16(size_t at, uint16_t value) {
    bytes[at] = static_cast<uint8_t>(value);
    bytes[at + 1] = static_cast<uint8_t>(value >> 8);
  }
  void Store32(size_t at, uint32_t value) {
    Store16(at, static_cast<uint16_t>(value));
    Store16(at + 2, static_cast<uint16_t>(value >> 16));
  }
};

sqlite* OpenImage(const writer::testing::ScratchDir& dir, const Image& image) {
  const std::string path = dir.File("damaged.db");
  writer::testing::WriteBytes(path, image.bytes);
  return sqlite_open(path.c_str(), 0, nullptr);
}

// fonts(id INTEGER PRIMARY KEY, name TEXT, path TEXT), rows 1 to 12 on its
// root, a leaf. Row 7 holds two 1,500-byte values, name "nnn..." and path
// "ppp...": a record of 3,010 bytes with offsets 8, 8, 1509 and 3010, its
// payload spread over the cell and three overflow pages:
//   the cell  the key, the 8 bytes of offsets, name bytes 0-223
//   page A    name bytes 224-1243
//   page B    name bytes 1244-1499, its NUL, path bytes 0-762
//   page C    path bytes 763-1499, its NUL (738 bytes, then junk)
// Row 3's cell is exactly 32 bytes: the key 80 00 00 03, then the record
// 04 04 0b 10 "Font 3\0" "/p/3\0".
Image FontsImage() {
  writer::Database file;
  EXPECT_TRUE(
      file.CreateTable("CREATE TABLE fonts(id INTEGER PRIMARY KEY, name TEXT, path TEXT)").ok());
  for (int id = 1; id <= 12; ++id) {
    const std::string n = std::to_string(id);
    EXPECT_TRUE((id == 7 ? file.Insert("fonts", {n, std::string(1500, 'n'), std::string(1500, 'p')})
                         : file.Insert("fonts", {n, "Font " + n, "/p/" + n}))
                    .ok());
  }
  return {file.Bytes()};
}

// Rows `from` to `to` as they are, row 7 included, each followed by "; ".
std::string Rows(int from, int to) {
  std::string rows;
  for (int id = from; id <= to; ++id) {
    const std::string n = std::to_string(id);
    rows += id == 7 ? "7|<n*1500>|<p*1500>; " : n + "|Font " + n + "|/p/" + n + "; ";
  }
  return rows;
}

// Row 7's cell and its overflow pages.
size_t Row7(const Image& image) {
  return image.CellOf(7);
}
uint32_t PageA(const Image& image) {
  return image.Load32(Row7(image) + 248);
}
uint32_t PageB(const Image& image) {
  return image.Load32(image.PageAt(PageA(image)));
}
uint32_t PageC(const Image& image) {
  return image.Load32(image.PageAt(PageB(image)));
}

// Gives row 3's cell other key and data sizes.
std::function<void(Image&)> Row3Sizes(uint16_t key_size, uint16_t data_size) {
  return [=](Image& image) {
    const size_t cell = image.CellOf(3);
    image.Store16(cell + 4, key_size);
    image.Store16(cell + 10, data_size);
  };
}

TEST(DamagedFile, CellsAndOverflowChainsGiveWhatTheLibraryReads) {
  const std::string kRow7 = "SELECT * FROM fonts WHERE id = '7';";
  const std::string kAll = "SELECT * FROM fonts;";
  const std::string kIds = "SELECT id FROM fonts;";
  const struct {
    const char* what;
    std::function<void(Image&)> damage;
    std::vector<std::pair<std::string, std::string>> answers;  // statement, answer
  } kCases[] = {
      // A page past the end reads as zeros and ends the chain: name stops
      // where the cell does, and path begins among the zeros.
      {"overflow chain pointing past the end of the file",
       [](Image& image) { image.Store32(Row7(image) + 248, 999); },
       {{kRow7, "7|<n*224>|; rc 0"}, {kAll, Rows(1, 6) + "7|<n*224>|; " + Rows(8, 12) + "rc 0"}}},
      {"overflow chain ending after its first page",
       [](Image& image) { image.Store32(image.PageAt(PageA(image)), 0); },
       {{kRow7, "7|<n*1244>|; rc 0"}}},
      // The chain is followed only as far as the payload asks.
      {"last overflow page pointing past the end",
       [](Image& image) { image.Store32(image.PageAt(PageC(image)), 999); },
       {{kRow7, Rows(7, 7) + "rc 0"}}},
      // Page B's bytes again where page C's should be: path runs on into
      // the end of name and stops at its NUL.
      {"overflow page pointing at itself",
       [](Image& image) { image.Store32(image.PageAt(PageB(image)), PageB(image)); },
       {{kRow7, "7|<n*1500>|<p*763><n*256>; rc 0"}}},
      // Page A's bytes where page C's should be: path holds no NUL, and the
      // library would read on past it. Name is whole.
      {"overflow chain looping back to its first page",
       [](Image& image) { image.Store32(image.PageAt(PageB(image)), PageA(image)); },
       {{kRow7, "rc 11"},
        {"SELECT id, name FROM fonts WHERE id = '7';", "7|<n*1500>; rc 0"},
        {kAll, Rows(1, 6) + "rc 11"}}},
      // The offsets keep their width, and the chain ends in page C's junk.
      {"data size grown by 10 bytes",
       [](Image& image) { image.Store16(Row7(image) + 10, 3020); },
       {{kRow7, Rows(7, 7) + "rc 0"}}},
      // path ends at 3,010, past the 3,000 bytes the cell now claims.
      {"data size shrunk by 10 bytes",
       [](Image& image) { image.Store16(Row7(image) + 10, 3000); },
       {{kRow7, "rc 11"},
        {"SELECT id, name FROM fonts WHERE id = '7';", "7|<n*1500>; rc 0"},
        {kAll, Rows(1, 6) + "rc 11"}}},
      // Past 64 KiB the offsets are 3 bytes wide: name's read 00 08 00 and
      // c2 0b 6e, an end far past the record.
      {"data size grown by its high byte",
       [](Image& image) { image.bytes[Row7(image) + 9] = 1; },
       {{kRow7, "rc 11"}, {"SELECT id FROM fonts WHERE id = '7';", "7; rc 0"}}},
      // The record starts 64 KiB into the payload, where the chain has long
      // ended: every offset reads as zero, every column as NULL. A lookup
      // compares whole keys, and the longer key is the greater: row 7 is
      // not found.
      {"key size grown by its high byte",
       [](Image& image) { image.bytes[Row7(image) + 8] = 1; },
       {{kAll, Rows(1, 6) + "7|NULL|NULL; " + Rows(8, 12) + "rc 0"}, {kRow7, "rc 0"}}},
      // The record is read a byte late: name's offsets 0b and 10 end past
      // the 15 bytes claimed. A scan takes the rowid from the key's first 4
      // bytes; a lookup compares whole keys, and the 5-byte key is greater
      // than row 3's.
      {"key a byte longer, data a byte shorter",
       Row3Sizes(5, 15),
       {{kAll, Rows(1, 2) + "rc 11"},
        {kIds, "1; 2; 3; 4; 5; 6; 7; 8; 9; 10; 11; 12; rc 0"},
        {"SELECT * FROM fonts WHERE id = '3';", "rc 0"}}},
      // The rowid is the key's first 3 bytes zero-padded: 0. The record is
      // read a byte early: name's offsets 04 04 make it NULL, path's 04 0b
      // hold no NUL. Row 3's cell, now below every key, sits third among
      // twelve where the library's binary search probes it and turns right
      // away from 1, 2 and 3.
      {"key a byte shorter, data a byte longer",
       Row3Sizes(3, 17),
       {{kAll, Rows(1, 2) + "rc 11"},
        {kIds, "1; 2; 0; 4; 5; 6; 7; 8; 9; 10; 11; 12; rc 0"},
        {"SELECT id FROM fonts WHERE id = '1';", "rc 0"},
        {"SELECT id FROM fonts WHERE id = '2';", "rc 0"},
        {"SELECT id FROM fonts WHERE id = '3';", "rc 0"},
        {"SELECT id FROM fonts WHERE id = '4';", "4; rc 0"},
        {"SELECT id FROM fonts WHERE id = '5';", "5; rc 0"}}},
  };
  const Image sound = FontsImage();
  // Every row on the root leaf, and row 7 on three overflow pages.
  const std::vector<RowCell> cells = RowCells(sound.bytes);
  ASSERT_EQ(cells.size(), 12u);
  for (const RowCell& cell : cells)
    ASSERT_EQ(cell.at / kPageSize, cells[0].at / kPageSize);
  ASSERT_NE(PageC(sound), 0u);
  ASSERT_EQ(sound.Load32(sound.PageAt(PageC(sound))), 0u);

  writer::testing::ScratchDir dir;
  for (const auto& c : kCases) {
    Image image = sound;
    c.damage(image);
    sqlite* db = OpenImage(dir, image);
    ASSERT_NE(db, nullptr) << c.what;
    for (const auto& [sql, answer] : c.answers)
      EXPECT_EQ(Answer(db, sql), answer) << c.what << ": " << sql;
    sqlite_close(db);
  }
}

// A page that fails its check fails the statement that meets it. The
// library marks the page decoded all the same and, while it keeps the page
// cached, takes it with the cells it listed: a root only for the rest of
// its statement, but once a child page has failed the library keeps its
// whole cache, and every page it failed, for the life of the connection.
TEST(DamagedFile, PagesThatFailTheirCheckAreUsedAsTheLibraryUsesThem) {
  writer::Database file;
  ASSERT_TRUE(file.CreateTable("CREATE TABLE small(id INTEGER PRIMARY KEY, v TEXT)").ok());
  ASSERT_TRUE(file.CreateTable("CREATE TABLE big(id INTEGER PRIMARY KEY, v TEXT)").ok());
  for (int id = 1001; id <= 1003; ++id)
    ASSERT_TRUE(file.Insert("small", {std::to_string(id), "s"}).ok());
  for (int id = 1; id <= 200; ++id)
    ASSERT_TRUE(file.Insert("big", {std::to_string(id), std::string(40, 'b')}).ok());
  Image image{file.Bytes()};
  // A free block offset below the page header, found once every cell is
  // listed: on small's root, and on the leaf of big that holds row 100.
  const uint32_t small_root = static_cast<uint32_t>(image.CellOf(1001) / kPageSize) + 1;
  const uint32_t big_leaf = static_cast<uint32_t>(image.CellOf(100) / kPageSize) + 1;
  ASSERT_NE(big_leaf, static_cast<uint32_t>(image.CellOf(1) / kPageSize) + 1);
  for (uint32_t page : {small_root, big_leaf})
    image.Store16(image.PageAt(page) + 6, 4);

  writer::testing::ScratchDir dir;
  sqlite* db = OpenImage(dir, image);
  ASSERT_NE(db, nullptr);
  const std::string kSmall = "SELECT * FROM small;";
  const std::string kRow100 = "SELECT * FROM big WHERE id = '100';";
  const std::pair<std::string, std::string> kSteps[] = {
      {kSmall, "rc 11"},
      {kSmall, "rc 11"},  // the root went with the statement's cache
      {kRow100, "rc 0"},  // a lookup takes a damaged child for a missing row
      {kRow100, "100|<b*40>; rc 0"},
      {kSmall, "rc 11"},  // the cache is kept from now on
      {kSmall, "1001|s; 1002|s; 1003|s; rc 0"},
  };
  for (const auto& [sql, answer] : kSteps)
    EXPECT_EQ(Answer(db, sql), answer) << sql;
  sqlite_close(db);
}

}  // namespace
}  // namespace sqlite2::testing
