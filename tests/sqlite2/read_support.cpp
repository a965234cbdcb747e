#include "tests/sqlite2/read_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <utility>

#include "sqlite2/format/btree_page.h"
#include "sqlite2/format/keys.h"
#include "tests/sqlite2_writer/database.h"

namespace sqlite2::testing {
namespace {

std::string FontName(int version, int font) {
  return std::string("v").append(std::to_string(version)).append(" font ") + std::to_string(font);
}

std::string Join(int argc, char** argv) {
  std::string line;
  for (int i = 0; i < argc; ++i)
    line += std::string(i ? "|" : "") + (argv[i] ? argv[i] : "NULL");
  return line;
}

struct Reading {
  sqlite* db;
  std::vector<std::string>* lines;
  bool fonts_read = false;
};

int AddLine(void* lines, int argc, char** argv, char**) {
  static_cast<std::vector<std::string>*>(lines)->push_back("  " + Join(argc, argv));
  return 0;
}

// Runs a nested statement; false (after noting the failure) when it fails.
bool Nested(Reading* reading, const char* format, const char* arg) {
  char* error = nullptr;
  const int rc = sqlite_exec_printf(reading->db, format, AddLine, reading->lines, &error, arg);
  if (rc != SQLITE_OK)
    reading->lines->push_back("rc " + std::to_string(rc) + " " + (error ? error : ""));
  sqlite_freemem(error);
  return rc == SQLITE_OK;
}

int OnRel(void* context, int argc, char** argv, char**) {
  auto* reading = static_cast<Reading*>(context);
  if (!reading->fonts_read) {
    reading->fonts_read = true;
    reading->lines->push_back("fonts");
    if (!Nested(reading, "SELECT * FROM fonts;", nullptr))
      return 1;
  }
  reading->lines->push_back("rel " + Join(argc, argv));
  return Nested(reading, "SELECT id, name FROM fonts WHERE name = '%q';", argv[1]) ? 0 : 1;
}

}  // namespace

std::vector<uint8_t> FontImage(int version, int fonts) {
  writer::Database db;
  EXPECT_TRUE(
      db.CreateTable("CREATE TABLE fonts(id INTEGER PRIMARY KEY, name TEXT, path TEXT)").ok());
  EXPECT_TRUE(db.CreateTable("CREATE TABLE rel(parent, child TEXT)").ok());
  EXPECT_TRUE(db.CreateIndex("CREATE INDEX rel_parent ON rel(parent)").ok());
  const std::string folder = "/Library/Fonts/v" + std::to_string(version) + "/";
  for (int font = 1; font <= fonts; ++font) {
    std::string path = folder + std::to_string(font) + ".otf";
    if (font % 10 == 0)
      path.insert(0, std::string(1500, static_cast<char>('a' + version % 26)));
    EXPECT_TRUE(db.Insert("fonts", {std::nullopt, FontName(version, font), path}).ok());
  }
  for (int font = 1; font <= fonts; ++font) {
    for (int other : {font, font * 7 % fonts + 1}) {
      EXPECT_TRUE(db.Insert("rel", {std::to_string(font % 9), FontName(version, other)}).ok());
    }
  }
  return db.Bytes();
}

std::vector<std::string> ReadEverything(sqlite* db) {
  std::vector<std::string> lines;
  Reading reading{db, &lines};
  char* error = nullptr;
  const int rc = sqlite_exec(db, "SELECT * FROM rel;", OnRel, &reading, &error);
  if (rc != SQLITE_OK && rc != SQLITE_ABORT)
    lines.push_back("rc " + std::to_string(rc) + " " + (error ? error : ""));
  sqlite_freemem(error);
  return lines;
}

std::vector<std::string> ReadEverything(const std::string& path) {
  char* error = nullptr;
  sqlite* db = sqlite_open(path.c_str(), 0, &error);
  if (db == nullptr) {
    std::vector<std::string> lines = {std::string("open: ") + (error ? error : "")};
    sqlite_freemem(error);
    return lines;
  }
  std::vector<std::string> lines = ReadEverything(db);
  sqlite_close(db);
  return lines;
}

std::vector<RowCell> RowCells(const std::vector<uint8_t>& image) {
  std::vector<RowCell> cells;
  for (size_t page = 3; page <= image.size() / format::kPageSize; ++page) {
    format::Page bytes;
    std::copy_n(image.begin() + static_cast<ptrdiff_t>((page - 1) * format::kPageSize),
                format::kPageSize, bytes.begin());
    std::array<format::Cell, format::kMaxCellsPerPage> room;
    format::BtreePage decoded;
    if (!format::BtreePage::DecodeFrom(bytes, format::ByteOrder::kLittleEndian, room, &decoded)
             .ok())
      continue;  // an overflow page
    for (const format::Cell& cell : decoded.cells) {
      if (cell.key_size == format::kRowidKeySize) {
        const size_t at = (page - 1) * format::kPageSize + cell.offset;
        cells.push_back({at, format::DecodeRowidKeyHead(decoded.key_head(cell)), cell.overflow});
      }
    }
  }
  return cells;
}

FileWitness::FileWitness(std::string path) : path_(std::move(path)), before_(Look(path_)) {}

FileWitness::State FileWitness::Look(const std::string& path) {
  State state;
  struct stat st;
  if (::stat(path.c_str(), &st) != 0)
    return state;
  state.exists = true;
  state.modified = st.st_mtim;
  std::ifstream in(path, std::ios::binary);
  state.bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return state;
}

std::string FileWitness::Changes() const {
  const State now = Look(path_);
  if (now.exists != before_.exists)
    return path_ + (now.exists ? " appeared" : " disappeared");
  if (now.bytes != before_.bytes)
    return path_ + " has other bytes";
  if (now.modified.tv_sec != before_.modified.tv_sec ||
      now.modified.tv_nsec != before_.modified.tv_nsec)
    return path_ + " has another modification time";
  return "";
}

}  // namespace sqlite2::testing
