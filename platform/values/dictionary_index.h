// The index of a big dictionary: finds entries by their key's text. Only
// the dictionary's own code includes this.
//
// An open-addressed table, at most half full, of entry positions beside
// their keys' hashes. A dictionary this big is mostly a map looked up many
// times, key after key; a slot costs a probe no more than one cache line,
// and an entry is read only when the hashes agree. Entries are never
// removed one by one (rule 4 of containers.h), so no slot is ever vacated
// and no probe chain is ever broken.
#ifndef PLATFORM_VALUES_DICTIONARY_INDEX_H_
#define PLATFORM_VALUES_DICTIONARY_INDEX_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/values/containers.h"

namespace cf {

class Dictionary::Index {
 public:
  // Adds the entry at `position`, whose key no other entry has.
  void Add(const Entry* entries, size_t position) {
    if (2 * (used_ + 1) > slots_.size())
      Rebuild(entries, position, std::max<size_t>(64, 2 * slots_.size()));
    Place(entries[position].key.hash(), position);
  }

  // Where the entry under `key`, whose std::hash is `hash`, is, or kNowhere.
  size_t Find(const Entry* entries, std::string_view key, size_t hash) const {
    const size_t mask = slots_.size() - 1;
    for (size_t i = hash & mask;; i = (i + 1) & mask) {
      const Slot& slot = slots_[i];
      if (slot.position == kEmpty)
        return kNowhere;
      if (slot.hash == hash && entries[slot.position].key.view() == key)
        return slot.position;
    }
  }

 private:
  static constexpr size_t kEmpty = SIZE_MAX;
  struct Slot {
    size_t hash;
    size_t position = kEmpty;
  };

  void Place(size_t hash, size_t position) {
    const size_t mask = slots_.size() - 1;
    size_t i = hash & mask;
    while (slots_[i].position != kEmpty)
      i = (i + 1) & mask;
    slots_[i] = {hash, position};
    ++used_;
  }
  // Room for `size` slots (a power of two), holding the entries before `end`.
  void Rebuild(const Entry* entries, size_t end, size_t size) {
    slots_.assign(size, Slot{});
    used_ = 0;
    for (size_t position = 0; position < end; ++position)
      Place(entries[position].key.hash(), position);
  }

  std::vector<Slot> slots_;
  size_t used_ = 0;
};

}  // namespace cf

#endif  // PLATFORM_VALUES_DICTIONARY_INDEX_H_
