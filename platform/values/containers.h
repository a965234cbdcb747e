// The two mutable kinds, arrays and dictionaries, and the rules every change
// to one of them keeps.
//
// The same container may stand in several others at once, so a value
// stored in it later is seen through every parent. And containers may
// form cycles. For shared, cyclic containers to be freed, compared and
// looked up correctly, every mutator - Array::Append, Dictionary::Add,
// Dictionary::Replace, and DropChildren of both, through which every public
// change goes - keeps these four rules, and says at each step which one it
// keeps. A new mutator keeps all four.
//
// 1. Note the child. A value is stored only after NoteChild(value). Release
//    (object.h) skips the cycle collector for an object that has never held
//    an array or a dictionary, so a container that stored one unnoted could
//    close a cycle the collector never sees, and the cycle would leak.
// 2. Counts and colours change only through Ref. A mutator stores and drops
//    values by moving and destroying Refs, never touching a count or a
//    colour: Retain paints an object black (in use) and Release lists a
//    container as a candidate root (purple), and the collector's trial
//    deletion (collector.cpp) is right only while those marks are current.
//    For the same reason ForEachChild visits every value held and
//    DropChildren drops exactly those; and a container is consistent before
//    an element is released (Slots::clear lowers its size first), since the
//    release may free anything, this container included.
// 3. A dictionary's cached hash is cleared by every change of its entries:
//    an entry added, a value replaced, the entries dropped. A nested array
//    or dictionary counts in the hash by its kind alone, so a change inside
//    a child leaves every parent's hash valid.
// 4. A dictionary's index, once built (past kIndexThreshold entries), holds
//    the position of every entry: an entry appended is indexed at once, and
//    the index goes when the entries do. Entries are never removed one by
//    one nor reordered, so positions stay valid and no slot of the index is
//    ever vacated; a mutator that removed or moved entries would have to
//    rebuild the index.
#ifndef PLATFORM_VALUES_CONTAINERS_H_
#define PLATFORM_VALUES_CONTAINERS_H_

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>

#include "platform/values/key.h"
#include "platform/values/object.h"
#include "platform/values/slots.h"

namespace cf {

// A mutable, ordered list of values.
class Array final : public Object {
 public:
  // Room for `capacity` elements comes with the array; more take a block of
  // their own.
  static Ref<Array> Create(size_t capacity = 0);

  size_t size() const { return items_.size(); }
  bool empty() const { return items_.empty(); }
  // Throws std::out_of_range past the end.
  const Ref<Object>& at(size_t index) const;
  const Ref<Object>* begin() const { return items_.begin(); }
  const Ref<Object>* end() const { return items_.end(); }

  // Appends `value`; a null value is ignored.
  void Append(Ref<Object> value);
  // True when an element is equal to `value` (deep equality, as Equal()).
  bool ContainsValue(const Object* value) const;

  // Frees the block Create allocated, inline elements included.
  static void operator delete(void* block) { ::operator delete(block); }

 private:
  explicit Array(size_t capacity)
      : Object(TypeID::kArray), items_(reinterpret_cast<Ref<Object>*>(this + 1), capacity) {}
  void ForEachChild(void (*visit)(Object*, void*), void* context) override;
  void DropChildren() override;
  internal::Slots<Ref<Object>> items_;
};

// A mutable map from string keys to values. Iterates in insertion order; a
// key set again keeps its place.
class Dictionary final : public Object {
 public:
  struct Entry {
    Key key;
    Ref<Object> value;
  };

  // Room for `capacity` entries comes with the dictionary, as a row of that
  // many columns needs; more take a block of their own.
  static Ref<Dictionary> Create(size_t capacity = 0);

  size_t size() const { return entries_.size(); }
  bool empty() const { return entries_.empty(); }
  // The value under `key`, or null.
  Object* Get(std::string_view key) const;
  // The same for a shared key, found by identity first.
  Object* Get(const Key& key) const;
  bool Contains(std::string_view key) const { return Get(key) != nullptr; }
  // The value under `key` when it is of the given kind, else null.
  const String* GetString(std::string_view key) const;
  Array* GetArray(std::string_view key) const;
  Dictionary* GetDictionary(std::string_view key) const;

  // Stores `value` under `key`, replacing an earlier value in place. A null
  // value is ignored: a dictionary never holds null.
  void Set(std::string_view key, Ref<Object> value);
  // The same with a shared key, which a new entry keeps rather than a copy.
  void Set(const Key& key, Ref<Object> value);
  // Adds an entry under `key` without looking for one: for a caller that
  // knows the dictionary holds none yet, as a row of columns named apart.
  // A null value is ignored. In the header, as is the common way of Add: a
  // row of a table adds every column's value through it.
  void AddNew(const Key& key, Ref<Object>&& value) {
    if (!value)
      return;
    assert(PositionOf(key) == kNowhere);
    Add(key, std::move(value));
  }

  const Entry* begin() const { return entries_.begin(); }
  const Entry* end() const { return entries_.end(); }

  // A hash of the content, which tells most unequal dictionaries apart
  // without comparing them: equal ones (as Equal() has it) always hash
  // alike. Taken when first asked for and kept until this dictionary
  // changes (rule 3).
  size_t Hash() const { return hash_ != 0 ? hash_ : TakeHash(); }

  // Frees the block Create allocated, inline entries included.
  static void operator delete(void* block) { ::operator delete(block); }

 private:
  explicit Dictionary(size_t capacity);
  size_t TakeHash() const;
  ~Dictionary() override;  // Out of line: Index is complete only there.
  void ForEachChild(void (*visit)(Object*, void*), void* context) override;
  void DropChildren() override;
  static constexpr size_t kNowhere = SIZE_MAX;
  // Where the entry under `key` is, or kNowhere.
  size_t PositionOf(std::string_view key) const;
  size_t PositionOf(const Key& key) const;
  void Replace(size_t position, Ref<Object> value);
  // Appends an entry; there is none under `key` yet.
  void Add(const Key& key, Ref<Object>&& value) {
    hash_ = 0;                                     // Rule 3.
    NoteChild(*value);                             // Rule 1.
    entries_.emplace_back(key, std::move(value));  // Rule 2: the Ref moves in.
    if (index_ || entries_.size() > kIndexThreshold)
      IndexLastEntry();  // Rule 4.
  }
  // Below this many entries a linear scan beats hashing.
  static constexpr size_t kIndexThreshold = 16;
  // Adds the entry just appended to the index, building the index first
  // when the dictionary has just grown past kIndexThreshold.
  void IndexLastEntry();
  internal::Slots<Entry> entries_;
  // Index into entries_ by key (dictionary_index.h); built once the
  // dictionary is big enough to need it.
  class Index;
  std::unique_ptr<Index> index_;
  // Zero until Hash() is next asked for: never a hash itself.
  mutable size_t hash_ = 0;
};

inline Array* Object::AsArray() {
  return type_ == TypeID::kArray ? static_cast<Array*>(this) : nullptr;
}
inline const Array* Object::AsArray() const {
  return type_ == TypeID::kArray ? static_cast<const Array*>(this) : nullptr;
}
inline Dictionary* Object::AsDictionary() {
  return type_ == TypeID::kDictionary ? static_cast<Dictionary*>(this) : nullptr;
}
inline const Dictionary* Object::AsDictionary() const {
  return type_ == TypeID::kDictionary ? static_cast<const Dictionary*>(this) : nullptr;
}

}  // namespace cf

#endif  // PLATFORM_VALUES_CONTAINERS_H_
