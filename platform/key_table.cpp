#include "platform/key_table.h"

#include <algorithm>
#include <cstring>

#include "platform/values/hash_mix.h"

namespace {

// A text is looked for in at most this many slots from where its hash
// points; a half-full table of honest keys needs one or two.
constexpr size_t kMaxProbes = 32;

}  // namespace

uint64_t KeyTable::HashOf(std::string_view text) {
  uint64_t hash = text.size();
  for (size_t at = 0; at < text.size(); at += 8) {
    uint64_t word = 0;
    std::memcpy(&word, text.data() + at, std::min<size_t>(8, text.size() - at));
    hash = (hash ^ word) * cf::internal::kSpread;
    hash ^= hash >> 32;
  }
  // Every bit of every word reaches the low bits that pick a slot.
  return cf::internal::Mix(hash);
}

InternedKey* KeyTable::Find(std::string_view text) {
  const uint64_t hash = hash_(text);
  const size_t mask = slots_.size() - 1;
  size_t i = hash & mask;
  for (size_t probe = 0; probe < kMaxProbes; ++probe, i = (i + 1) & mask) {
    Slot& slot = slots_[i];
    if (slot.key == 0) {
      keys_.push_back(std::make_unique<InternedKey>(text, true));
      slot = {hash, static_cast<uint32_t>(keys_.size())};
      InternedKey* key = keys_.back().get();
      if (2 * keys_.size() > slots_.size())
        Grow();
      return key;
    }
    if (slot.hash == hash && keys_[slot.key - 1]->key.view() == text)
      return keys_[slot.key - 1].get();
  }
  // Too many texts collide here. The text may even be in the table already,
  // further on: this key cannot be told apart by identity.
  keys_.push_back(std::make_unique<InternedKey>(text, false));
  return keys_.back().get();
}

// Rehashing may move a key further than kMaxProbes from where its hash
// points; a later look for it then makes a key that is not unique, which
// costs a search, never a wrong tree.
void KeyTable::Grow() {
  std::vector<Slot> old = std::move(slots_);
  slots_.assign(2 * old.size(), Slot{});
  const size_t mask = slots_.size() - 1;
  for (const Slot& slot : old) {
    if (slot.key == 0)
      continue;
    size_t i = slot.hash & mask;
    while (slots_[i].key != 0)
      i = (i + 1) & mask;
    slots_[i] = slot;
  }
}
