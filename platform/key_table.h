// The dictionary keys of one document, each distinct text made into a
// cf::Key once: a publication repeats a handful of key names in tens of
// thousands of dictionaries, which then all share the same few keys.
//
// Finding a text costs a bounded number of probes whatever the document:
// texts made to collide (by chance or by a hostile writer) past that bound
// get keys of their own instead, which are marked as not unique.
#ifndef PLATFORM_KEY_TABLE_H_
#define PLATFORM_KEY_TABLE_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/values.h"

struct InternedKey {
  InternedKey(std::string_view text, bool unique) : key(text), unique(unique) {}
  cf::Key key;
  // No two unique keys of a table share a text (a key made of a text the
  // table already holds is never unique), so a dictionary all of whose keys
  // are unique tells a repeated one by identity (below).
  const bool unique;
  // The last dictionary (by the number its builder gave it) that holds this
  // key: tells a key repeated within one dictionary without a search.
  uint64_t dictionary = 0;
  // The key asked for right after this one, the last time.
  InternedKey* next = nullptr;
};

class KeyTable {
 public:
  using Hash = uint64_t (*)(std::string_view text);
  // Every byte counts, a word at a time: key names are short and mostly
  // share a prefix ("kQBFontInfo...").
  static uint64_t HashOf(std::string_view text);

  // `hash` is for tests, to make texts collide.
  explicit KeyTable(Hash hash = HashOf) : hash_(hash), slots_(16) {}
  KeyTable(const KeyTable&) = delete;
  KeyTable& operator=(const KeyTable&) = delete;

  // The key whose text is `text`, made on first sight; it lives as long as
  // the table. Dictionary after dictionary holds the same keys in the same
  // order, so the key that followed the previous one last time is tried
  // first, which spares most lookups the hash.
  InternedKey* Intern(std::string_view text) {
    InternedKey* key =
        previous_ != nullptr && previous_->next != nullptr && previous_->next->key.view() == text
            ? previous_->next
            : Find(text);
    if (previous_ != nullptr)
      previous_->next = key;
    return previous_ = key;
  }

 private:
  InternedKey* Find(std::string_view text);
  void Grow();

  // Open addressing, at most half full; a slot holds an index into keys_
  // plus one, zero when empty, beside its key's hash.
  struct Slot {
    uint64_t hash = 0;
    uint32_t key = 0;
  };
  const Hash hash_;
  std::vector<Slot> slots_;
  std::vector<std::unique_ptr<InternedKey>> keys_;
  InternedKey* previous_ = nullptr;
};

#endif  // PLATFORM_KEY_TABLE_H_
