// Mixing steps for the hashes of values, shared so that every hash in the
// value model spreads its bits the same way.
#ifndef PLATFORM_VALUES_HASH_MIX_H_
#define PLATFORM_VALUES_HASH_MIX_H_

#include <cstdint>

namespace cf::internal {

// A multiplier with well-spread bits (2^64 over the golden ratio), for hashes
// that mix a word at a time.
inline constexpr uint64_t kSpread = 0x9E3779B97F4A7C15u;

// The final mix of MurmurHash3: every bit of the input reaches every bit of
// the result.
inline uint64_t Mix(uint64_t hash) {
  hash ^= hash >> 33;
  hash *= 0xFF51AFD7ED558CCDu;
  hash ^= hash >> 33;
  hash *= 0xC4CEB9FE1A85EC53u;
  return hash ^ (hash >> 33);
}

}  // namespace cf::internal

#endif  // PLATFORM_VALUES_HASH_MIX_H_
