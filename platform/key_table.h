// The dictionary keys of one document, each distinct text made into a
// cf::Key once: a publication repeats a handful of key names in tens of
// thousands of dictionaries, which then all share the same few keys.
#ifndef PLATFORM_KEY_TABLE_H_
#define PLATFORM_KEY_TABLE_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/values.h"

struct InternedKey {
  explicit InternedKey(std::string_view text) : key(text) {}
  cf::Key key;
  // The last dictionary (by the number its builder gave it) that holds this
  // key: tells a key repeated within one dictionary without a search.
  uint64_t dictionary = 0;
};

class KeyTable {
 public:
  KeyTable() : slots_(16) {}
  KeyTable(const KeyTable&) = delete;
  KeyTable& operator=(const KeyTable&) = delete;

  // The key whose text is `text`, made on first sight; it lives as long as
  // the table.
  InternedKey* Intern(std::string_view text);

 private:
  void Grow();

  // Open addressing, at most half full; a slot holds an index into keys_
  // plus one, zero when empty, beside its key's hash.
  struct Slot {
    uint64_t hash = 0;
    uint32_t key = 0;
  };
  std::vector<Slot> slots_;
  std::vector<std::unique_ptr<InternedKey>> keys_;
};

#endif  // PLATFORM_KEY_TABLE_H_
