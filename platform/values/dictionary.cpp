// cf::Dictionary; the rules its mutators keep are those of containers.h.
#include <functional>
#include <string>

#include "platform/values/boolean.h"
#include "platform/values/dictionary_index.h"
#include "platform/values/hash_mix.h"
#include "platform/values/string.h"
#include "platform/values/url.h"

namespace cf {

Dictionary::Dictionary(size_t capacity)
    : Object(TypeID::kDictionary), entries_(reinterpret_cast<Entry*>(this + 1), capacity) {}
Dictionary::~Dictionary() = default;

Ref<Dictionary> Dictionary::Create(size_t capacity) {
  void* block = ::operator new(sizeof(Dictionary) + capacity * sizeof(Entry));
  ++internal::live_objects;
  return Ref<Dictionary>(::new (block) Dictionary(capacity));
}

// Lookup

size_t Dictionary::PositionOf(std::string_view key) const {
  if (index_)
    return index_->Find(entries_.begin(), key, std::hash<std::string_view>()(key));
  for (size_t i = 0; i < entries_.size(); ++i) {
    if (entries_[i].key.view() == key)
      return i;
  }
  return kNowhere;
}

size_t Dictionary::PositionOf(const Key& key) const {
  if (index_)
    return index_->Find(entries_.begin(), key.view(), key.hash());
  for (size_t i = 0; i < entries_.size(); ++i) {
    if (entries_[i].key == key)
      return i;
  }
  return kNowhere;
}

Object* Dictionary::Get(std::string_view key) const {
  const size_t position = PositionOf(key);
  return position == kNowhere ? nullptr : entries_[position].value.get();
}

Object* Dictionary::Get(const Key& key) const {
  const size_t position = PositionOf(key);
  return position == kNowhere ? nullptr : entries_[position].value.get();
}

const String* Dictionary::GetString(std::string_view key) const {
  Object* value = Get(key);
  return value ? value->AsString() : nullptr;
}

Array* Dictionary::GetArray(std::string_view key) const {
  Object* value = Get(key);
  return value ? value->AsArray() : nullptr;
}

Dictionary* Dictionary::GetDictionary(std::string_view key) const {
  Object* value = Get(key);
  return value ? value->AsDictionary() : nullptr;
}

// Mutators

void Dictionary::Set(std::string_view key, Ref<Object> value) {
  if (!value)
    return;
  const size_t position = PositionOf(key);
  if (position == kNowhere) {
    Add(Key(key), std::move(value));
  } else {
    Replace(position, std::move(value));
  }
}

void Dictionary::Set(const Key& key, Ref<Object> value) {
  if (!value)
    return;
  const size_t position = PositionOf(key);
  if (position == kNowhere) {
    Add(key, std::move(value));
  } else {
    Replace(position, std::move(value));
  }
}

void Dictionary::Replace(size_t position, Ref<Object> value) {
  hash_ = 0;          // Rule 3.
  NoteChild(*value);  // Rule 1.
  // Rule 2: the new value is in place before the old one is released.
  // Rule 4: the entry keeps its position, so the index stays as it is.
  entries_[position].value = std::move(value);
}

void Dictionary::IndexLastEntry() {
  if (index_) {
    index_->Add(entries_.begin(), entries_.size() - 1);
    return;
  }
  index_ = std::make_unique<Index>();
  for (size_t i = 0; i < entries_.size(); ++i)
    index_->Add(entries_.begin(), i);
}

// Rule 2: every value, and nothing else.
void Dictionary::ForEachChild(void (*visit)(Object*, void*), void* context) {
  for (const Entry& entry : entries_)
    visit(entry.value.get(), context);
}

void Dictionary::DropChildren() {
  hash_ = 0;         // Rule 3.
  index_.reset();    // Rule 4.
  entries_.clear();  // Rule 2: the size drops before any release.
}

// Hash

namespace {

// What a value adds to its dictionary's hash. Equal values hash alike; an
// array or dictionary counts by its kind alone (rule 3).
uint64_t ValueHash(const Object& value) {
  switch (value.type()) {
    case TypeID::kString:
      return value.AsString()->Hash();
    case TypeID::kBoolean:
      return value.AsBoolean()->value() ? 1 : 2;
    case TypeID::kURL:
      return std::hash<std::string>()(value.AsURL()->path());
    case TypeID::kArray:
      return 3;
    case TypeID::kDictionary:
      return 4;
  }
  return 0;
}

}  // namespace

size_t Dictionary::TakeHash() const {
  // A sum over the entries, since equal dictionaries may hold their entries
  // in different orders; each entry is spread a little so that the sum
  // keeps their bits apart, and the sum is mixed in full once.
  uint64_t sum = 0;
  for (const Entry& entry : entries_) {
    uint64_t spread = (entry.key.hash() ^ ValueHash(*entry.value)) * internal::kSpread;
    sum += spread ^ (spread >> 32);
  }
  const uint64_t hash = internal::Mix(sum);
  hash_ = hash != 0 ? hash : 1;
  return hash_;
}

}  // namespace cf
