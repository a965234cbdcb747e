#include "platform/key_table.h"

#include <cstring>

namespace {

// Key names are short and mostly share a prefix ("kQBFontInfo..."), so the
// hash takes the size and the first and last eight bytes, which is all of
// most of them and where longer ones differ; a match is confirmed in full.
uint64_t HashOf(std::string_view text) {
  constexpr uint64_t kSpread = 0x9E3779B97F4A7C15u;
  const size_t size = text.size();
  uint64_t first = 0, last = 0;
  if (size >= 8) {
    std::memcpy(&first, text.data(), 8);
    std::memcpy(&last, text.data() + size - 8, 8);
  } else if (size > 0) {
    std::memcpy(&first, text.data(), size);
  }
  uint64_t hash = (size ^ first) * kSpread;
  hash = (hash ^ (hash >> 29) ^ last) * kSpread;
  return hash ^ (hash >> 32);
}

}  // namespace

InternedKey* KeyTable::Intern(std::string_view text) {
  const uint64_t hash = HashOf(text);
  const size_t mask = slots_.size() - 1;
  for (size_t i = hash & mask;; i = (i + 1) & mask) {
    Slot& slot = slots_[i];
    if (slot.key == 0) {
      keys_.push_back(std::make_unique<InternedKey>(text));
      slot = {hash, static_cast<uint32_t>(keys_.size())};
      InternedKey* key = keys_.back().get();
      if (2 * keys_.size() > slots_.size())
        Grow();
      return key;
    }
    if (slot.hash == hash && keys_[slot.key - 1]->key.view() == text)
      return keys_[slot.key - 1].get();
  }
}

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
