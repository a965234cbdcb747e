// Writes a font manager's library of any size, the kind the benchmarks read,
// for timing whole `qbfa` processes on it:
//
//   make_font_library FONTS integer|text PATH [SEED]
//
// One set per 20 fonts, nested three deep, each font filed in two sets;
// fonts.id an INTEGER PRIMARY KEY or TEXT without an index. Another SEED
// (by default 1) gives a later version of the same library: other names,
// styles and second sets.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "bench/libraries.h"

int main(int argc, char** argv) {
  using qbfa_bench::FontIds;
  const bool arguments = argc == 4 || argc == 5;
  const std::string ids = arguments ? argv[2] : "";
  const int fonts = arguments ? std::atoi(argv[1]) : 0;
  const long seed = argc == 5 ? std::atol(argv[4]) : 1;
  if (fonts <= 0 || seed <= 0 || (ids != "integer" && ids != "text")) {
    std::fprintf(stderr, "usage: %s FONTS integer|text PATH [SEED]\n", argv[0]);
    return 2;
  }
  const qbfa_test::FontDatabaseShape shape = qbfa_bench::LibraryShape(
      fonts, ids == "integer" ? FontIds::kIntegerPrimaryKey : FontIds::kTextWithoutIndex,
      static_cast<uint32_t>(seed));
  sqlite2::Status status = qbfa_test::WriteFontDatabase(shape, argv[3]);
  if (!status.ok()) {
    std::fprintf(stderr, "%s: %s\n", argv[3], status.message().c_str());
    return 1;
  }
  return 0;
}
