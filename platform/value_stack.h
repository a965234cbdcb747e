// The values a parser has read whose containers are still open, in document
// order, and the containers made of them once they close: a tree is built
// bottom up with no intermediate form, each container made when its size is
// known, in one allocation with its elements.
//
// Strings are made late too: those read straight from the document are
// kept as views of it until their container closes, then made together,
// up to cf::String::kMaxRun at a time, in one allocation per run.
#ifndef PLATFORM_VALUE_STACK_H_
#define PLATFORM_VALUE_STACK_H_

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/key_table.h"
#include "platform/values.h"

class ValueStack {
 public:
  size_t size() const { return pending_.size(); }

  // Pushes a value; `key` is null outside dictionaries.
  void Push(InternedKey* key, cf::Ref<cf::Object> value) {
    pending_.push_back({key, {}, std::move(value)});
  }
  // Pushes a string to be made later from `text`, which must stay put until
  // then (a view of the document, never of a scratch buffer).
  void PushText(InternedKey* key, std::string_view text) { pending_.push_back({key, text, {}}); }

  // Replaces the values from `first` on by the container that holds them,
  // pushed under `key`; false when a text is not UTF-8, which leaves the
  // stack fit only to be thrown away. A key repeated in a dictionary keeps
  // its first place and its last value.
  bool CloseArray(size_t first, InternedKey* key);
  bool CloseDictionary(size_t first, InternedKey* key);

  // The value at `index`, its string made when it is still a text (null
  // when that text is not UTF-8).
  cf::Ref<cf::Object> Take(size_t index);

 private:
  struct Pending {
    InternedKey* key;
    std::string_view text;  // when `value` is null
    cf::Ref<cf::Object> value;
  };
  // Makes the strings of the texts from `first` on.
  bool MakeStrings(size_t first);

  std::vector<Pending> pending_;
  // Numbers the dictionaries made, for InternedKey::dictionary.
  uint64_t dictionaries_ = 0;
};

#endif  // PLATFORM_VALUE_STACK_H_
