// The font manager's side of the soak: a user moving fonts from one set to
// another, one transaction at a time, and the database file each
// transaction leaves.
#ifndef TESTS_SOAK_FONT_MOVES_H_
#define TESTS_SOAK_FONT_MOVES_H_

#include <cstdint>
#include <random>
#include <vector>

#include "tests/support/fontdb_generator.h"

namespace qbfa_soak {

// The database file of `library`.
std::vector<uint8_t> LibraryImage(const qbfa_test::FontLibrary& library);

class FontMoves {
 public:
  FontMoves(qbfa_test::FontLibrary library, uint32_t seed)
      : library_(std::move(library)), random_(seed) {}

  const qbfa_test::FontLibrary& library() const { return library_; }

  // Moves one font out of one of its sets into a set it is not in yet, as a
  // delete and an insert leave rel: the new relationship comes last. False,
  // with nothing changed, when no font can move.
  bool MoveOne();

 private:
  qbfa_test::FontLibrary library_;
  // The standard fixes this engine's sequence, so a seed repeats a soak.
  std::mt19937 random_;
};

}  // namespace qbfa_soak

#endif  // TESTS_SOAK_FONT_MOVES_H_
