// Writes a font manager's library of any size, the kind the benchmarks read,
// for timing whole `qbfa` processes on it:
//
//   make_font_library FONTS integer|text PATH
//
// One set per 20 fonts, nested three deep, each font filed in two sets;
// fonts.id an INTEGER PRIMARY KEY or TEXT without an index.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "tests/support/fontdb_generator.h"

int main(int argc, char** argv) {
  using FontIds = qbfa_test::FontDatabaseShape::FontIds;
  const std::string ids = argc == 4 ? argv[2] : "";
  const int fonts = argc == 4 ? std::atoi(argv[1]) : 0;
  if (fonts <= 0 || (ids != "integer" && ids != "text")) {
    std::fprintf(stderr, "usage: %s FONTS integer|text PATH\n", argv[0]);
    return 2;
  }
  qbfa_test::FontDatabaseShape shape;
  shape.font_count = fonts;
  shape.fonts_per_set = 20;
  shape.nesting_depth = 3;
  shape.sets_per_font = 2;
  shape.font_ids = ids == "integer" ? FontIds::kIntegerPrimaryKey : FontIds::kTextWithoutIndex;
  sqlite2::Status status = qbfa_test::WriteFontDatabase(shape, argv[3]);
  if (!status.ok()) {
    std::fprintf(stderr, "%s: %s\n", argv[3], status.message().c_str());
    return 1;
  }
  return 0;
}
