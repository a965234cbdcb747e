// Realistic font-manager databases of any size, for benchmarks, tests and the
// demo's sample library: tables sets, fonts and rel as the font manager
// writes them, sets nested a few levels deep, each font filed in two sets.
#ifndef TESTS_SUPPORT_FONTDB_GENERATOR_H_
#define TESTS_SUPPORT_FONTDB_GENERATOR_H_

#include <cstdint>
#include <string>
#include <vector>

#include "sqlite2/status.h"
#include "tests/sqlite2_writer/database.h"

namespace qbfa_test {

struct FontDatabaseShape {
  enum class FontIds {
    // fonts.id INTEGER PRIMARY KEY: lookups seek by rowid.
    kIntegerPrimaryKey,
    // fonts.id TEXT with no key and no index: lookups cannot seek.
    kTextWithoutIndex,
  };

  int font_count = 1000;
  // One set for every this many fonts.
  int fonts_per_set = 20;
  // Levels of sets, top-level sets included.
  int nesting_depth = 3;
  // How many sets each font is filed in.
  int sets_per_font = 2;
  FontIds font_ids = FontIds::kIntegerPrimaryKey;
  // Names, styles and the second set of each font are drawn from this seed,
  // so equal shapes give identical files.
  uint32_t seed = 1;
  sqlite2::writer::Options file;
};

// One row of the table rel: a font or a child set filed in a set.
struct Relationship {
  enum class Child { kFont = 1, kSet = 2 };  // rel.childtype
  int parent = 0;                            // the set's id; sets are numbered from 1
  Child type = Child::kFont;
  int child = 0;  // the font's or the child set's id, from 1

  bool operator==(const Relationship&) const = default;
};

// A library as rows, before it is written: the rows of sets and fonts, and
// the relationships in the order rel stores them.
struct FontLibrary {
  FontDatabaseShape::FontIds font_ids = FontDatabaseShape::FontIds::kIntegerPrimaryKey;
  std::vector<sqlite2::writer::Row> sets;
  std::vector<sqlite2::writer::Row> fonts;
  std::vector<Relationship> relationships;
};

FontLibrary GenerateFontLibrary(const FontDatabaseShape& shape);

// Fills `db`, which must be empty, with the tables and rows of `library`.
sqlite2::Status WriteFontLibrary(const FontLibrary& library, sqlite2::writer::Database* db);

// Both of the above: fills `db`, which must be empty, with the tables and
// rows of `shape`.
sqlite2::Status BuildFontDatabase(const FontDatabaseShape& shape, sqlite2::writer::Database* db);

// Builds the database of `shape` and writes it to `path`.
sqlite2::Status WriteFontDatabase(const FontDatabaseShape& shape, const std::string& path);

}  // namespace qbfa_test

#endif  // TESTS_SUPPORT_FONTDB_GENERATOR_H_
