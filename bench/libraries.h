// The font libraries the benchmarks run on, and the plug-in's read of them.
#ifndef BENCH_LIBRARIES_H_
#define BENCH_LIBRARIES_H_

#include <cstdint>
#include <string>

#include "platform/values.h"
#include "tests/support/fontdb_generator.h"

namespace qbfa_bench {

using FontIds = qbfa_test::FontDatabaseShape::FontIds;

// "integer" or "text", as the benchmarks name the two schemas.
const char* IdsName(FontIds ids);

// The library sizes, in fonts, that the benchmarks run on.
inline constexpr int kLibrarySizes[] = {1000, 5000, 20000, 80000};

// Every benchmark library has this shape: one set per 20 fonts, nested three
// deep, each font filed in two sets. Another seed gives a library of the same
// size whose names, styles and second sets differ: a later version of it.
qbfa_test::FontDatabaseShape LibraryShape(int fonts, FontIds ids, uint32_t seed = 1);

// The library of that shape as a file in a temporary folder, written on first
// use and removed when the program ends. Exits the program when it cannot be
// written.
const std::string& LibraryPath(int fonts, FontIds ids, uint32_t seed = 1);

// The plug-in's start-up read of the database at `path`: open, then
// QBFA_CopyFontSets (which closes).
cf::Ref<cf::Array> ReadSets(const std::string& path);

}  // namespace qbfa_bench

#endif  // BENCH_LIBRARIES_H_
