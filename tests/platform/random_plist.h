// Random property-list trees for tests: text of every character but U+0000
// and the surrogates (control and astral ones included, weighted towards
// what XML treats apart), keys mostly from the few names a publication
// repeats, containers of any size and nesting. Every tree it makes can be
// written. The same seed gives the same trees.
#ifndef TESTS_PLATFORM_RANDOM_PLIST_H_
#define TESTS_PLATFORM_RANDOM_PLIST_H_

#include <cstdint>
#include <random>
#include <string>

#include "platform/values.h"

namespace cf {

class RandomPlist {
 public:
  explicit RandomPlist(uint32_t seed) : random_(seed) {}

  // A tree of at most about `budget` values.
  Ref<Object> Tree(int budget);
  // A chain of `depth` containers, arrays and dictionaries mixed, with a
  // few values beside each.
  Ref<Object> Chain(int depth);

  // Text of up to `longest` code points.
  std::string RandomText(int longest);
  // Mostly the few names a publication repeats, sometimes anything.
  std::string Key();

  bool Chance(int one_in) { return std::uniform_int_distribution<int>(1, one_in)(random_) == 1; }
  int Below(int limit) { return std::uniform_int_distribution<int>(0, limit - 1)(random_); }

 private:
  Ref<Object> Value(int budget, int depth);
  Ref<Object> Text(int longest) { return MakeString(RandomText(longest)); }

  std::mt19937 random_;
};

}  // namespace cf

#endif  // TESTS_PLATFORM_RANDOM_PLIST_H_
