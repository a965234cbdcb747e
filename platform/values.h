// Property-list values: the objects the plug-in builds its set tree from.
//
// Strings, booleans, arrays, dictionaries and file URLs, shared by reference
// and freed automatically. Arrays and dictionaries are mutable, and the same
// object may stand in several containers at once: a set dictionary appears in
// each of its parents and in the set containers map, so a font appended to it
// later is seen through every parent.
//
// Ownership is by Ref<T>, an intrusive strong reference. Containers may form
// cycles (a set can be its own child); a synchronous cycle collector finds
// garbage cycles among containers whose count dropped without reaching zero,
// so memory is reclaimed even then.
//
// Threads: values are not synchronised. All values of a process are used from
// one thread at a time (the plug-in's one-thread rule keeps them on the main
// thread).
#ifndef PLATFORM_VALUES_H_
#define PLATFORM_VALUES_H_

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace cf {

enum class TypeID : uint8_t { kString, kBoolean, kArray, kDictionary, kURL };

class Object;
inline void Retain(Object* object);
inline void Release(Object* object);
namespace internal {
// Release's way for the last reference and for a container that has held
// one (see values.cpp).
void ReleaseToCollector(Object* object);
// A multiplier with well-spread bits (2^64 over the golden ratio), for hashes
// that mix a word at a time.
inline constexpr uint64_t kSpread = 0x9E3779B97F4A7C15u;
}  // namespace internal

// A strong, nullable reference. Copying retains, destruction releases.
template <class T>
class Ref {
 public:
  Ref() = default;
  Ref(std::nullptr_t) {}
  // Takes a new reference to `object` (which may be null).
  explicit Ref(T* object) : object_(object) {
    if (object_)
      Retain(object_);
  }
  Ref(const Ref& other) : Ref(other.object_) {}
  Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  template <class U>
  requires std::is_convertible_v<U*, T*> Ref(const Ref<U>& other) : Ref(other.get()) {}
  template <class U>
  requires std::is_convertible_v<U*, T*> Ref(Ref<U>&& other)
  noexcept : object_(other.Leak()) {}
  ~Ref() {
    if (object_)
      Release(object_);
  }
  Ref& operator=(Ref other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }

  T* get() const { return object_; }
  T* operator->() const { return object_; }
  T& operator*() const { return *object_; }
  explicit operator bool() const { return object_ != nullptr; }
  friend bool operator==(const Ref& a, const Ref& b) { return a.object_ == b.object_; }
  friend bool operator==(const Ref& a, std::nullptr_t) { return a.object_ == nullptr; }

  // Gives up the reference without releasing it (for Ref<U> -> Ref<T>).
  T* Leak() { return std::exchange(object_, nullptr); }

 private:
  T* object_ = nullptr;
};

class String;
class Boolean;
class Array;
class Dictionary;
class URL;

// The common base. Reference counts and the cycle collector's bookkeeping live
// here; the subclasses hold the content.
class Object {
 public:
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  TypeID type() const { return type_; }
  // How many references hold this object, as the platform's CFGetRetainCount
  // tells: more than one for a value shared by several containers.
  uint32_t RetainCount() const { return count_; }

  // The object as the given kind, or null when it is of another kind.
  const String* AsString() const;
  const Boolean* AsBoolean() const;
  Array* AsArray();
  const Array* AsArray() const;
  Dictionary* AsDictionary();
  const Dictionary* AsDictionary() const;
  const URL* AsURL() const;

 protected:
  explicit Object(TypeID type) : type_(type) {}
  virtual ~Object() = default;
  // For containers: notes that `child` is stored in this one.
  void NoteChild(const Object& child) {
    if (child.type_ == TypeID::kArray || child.type_ == TypeID::kDictionary)
      holds_container_ = true;
  }

 private:
  friend void Retain(Object*);
  friend void Release(Object*);
  friend void internal::ReleaseToCollector(Object*);
  friend class CycleCollector;

  // The cycle collector's marks.
  enum Color : uint8_t { kBlack = 0, kGray, kWhite, kPurple, kCollecting };

  // Calls `visit` on every object this one holds a reference to.
  virtual void ForEachChild(void (*visit)(Object*, void*), void* context);
  // Drops every held reference (used to break a garbage cycle before freeing).
  virtual void DropChildren() {}

  const TypeID type_;
  uint8_t color_ = 0;
  bool buffered_ = false;
  // Never cleared: "has held", which is all the collector needs to know.
  bool holds_container_ = false;
  uint32_t count_ = 0;
};

// Immutable text, always well-formed UTF-8. The text lives in the same
// block as the object, right after it: one allocation per string. It is
// padded with zeros to a whole number of words, at least one, so two strings
// compare a word at a time - the ids and short names that rows are told
// apart by, in one go - and hash a word at a time.
class String : public Object {
 public:
  // Null when `utf8` is not well-formed UTF-8 (overlong forms, surrogates and
  // code points past U+10FFFF included).
  static Ref<String> Create(std::string_view utf8);
  // A string of each of the NUL-terminated `texts` into `strings`, each null
  // where Create would give null, all in one allocation that goes when the
  // last of them does: for the values of a row, which are made together and
  // mostly go together. At most kMaxRun texts.
  static constexpr size_t kMaxRun = 64;
  static void CreateRun(std::span<const char* const> texts, Ref<String>* strings);
  // The same for texts of any bytes, NUL included, as a parser finds them.
  static void CreateRun(std::span<const std::string_view> texts, Ref<String>* strings);

  std::string_view utf8() const { return {text(), size_}; }
  // The text followed by a NUL.
  const char* c_str() const { return text(); }
  // Length in UTF-16 units, as the platform's strings count it.
  size_t length() const;
  bool empty() const { return size_ == 0; }
  bool HasPrefix(std::string_view prefix) const { return utf8().starts_with(prefix); }
  // Equal strings hash alike. Taken from the size and the first and last
  // words of the text alone, which is all of a short text and where longer
  // ones - paths, ids with a common prefix - mostly differ: a dictionary
  // takes the hash of each of its strings, and should not pay a look at
  // every byte for it.
  size_t Hash() const {
    uint64_t last;
    std::memcpy(&last, text() + size_ / kWord * kWord, kWord);
    return (size_ ^ FirstWord()) * internal::kSpread ^ last;
  }
  // Same text.
  friend bool operator==(const String& a, const String& b) {
    return a.size_ == b.size_ && a.FirstWord() == b.FirstWord() &&
           (a.size_ <= kWord ||
            std::memcmp(a.text() + kWord, b.text() + kWord, a.size_ - kWord) == 0);
  }

  // Frees the block Create allocated, text included.
  static void operator delete(void* block) { ::operator delete(block); }

 private:
  // A string of a run (see values.cpp); the only kind derived from this one.
  class InRun;
  static constexpr size_t kWord = sizeof(uint64_t);
  // The bytes a string of `size` bytes takes after the object: the text and
  // a NUL, rounded up to whole words.
  static size_t TextBytes(size_t size) { return (size / kWord + 1) * kWord; }
  explicit String(size_t size) : Object(TypeID::kString), size_(size) {}
  // Copies `utf8`, followed by the NUL and zeros to the end of its word,
  // after the object.
  void Fill(std::string_view utf8) {
    std::memset(text() + TextBytes(utf8.size()) - kWord, 0, kWord);
    std::memcpy(text(), utf8.data(), utf8.size());
  }
  const char* text() const { return reinterpret_cast<const char*>(this + 1); }
  char* text() { return reinterpret_cast<char*>(this + 1); }
  uint64_t FirstWord() const {
    uint64_t word;
    std::memcpy(&word, text(), kWord);
    return word;
  }
  const size_t size_;
};

// The two booleans; every true is the same object.
class Boolean final : public Object {
 public:
  static const Ref<Boolean>& True();
  static const Ref<Boolean>& False();
  bool value() const { return value_; }

 private:
  explicit Boolean(bool value) : Object(TypeID::kBoolean), value_(value) {}
  const bool value_;
};

namespace internal {

// The elements of an array or a dictionary. The first `capacity` given at
// creation live right after the container, in the container's own
// allocation, so a container whose size is known when it is made - a row of
// a table - costs one allocation; growing past them moves every element to
// a block of its own.
template <class T>
class Slots {
 public:
  Slots(T* inline_slots, size_t capacity)
      : data_(inline_slots), capacity_(CheckedCapacity(capacity)) {}
  Slots(const Slots&) = delete;
  Slots& operator=(const Slots&) = delete;
  ~Slots() {
    clear();
    if (on_heap_)
      ::operator delete(data_);
  }

  size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  T& operator[](size_t index) { return data_[index]; }
  const T& operator[](size_t index) const { return data_[index]; }
  const T* begin() const { return data_; }
  const T* end() const { return data_ + size_; }

  template <class... Args>
  T& emplace_back(Args&&... args) {
    if (size_ == capacity_)
      Grow();
    T* slot = ::new (data_ + size_) T{std::forward<Args>(args)...};
    ++size_;
    return *slot;
  }
  // The size drops first, so whatever releasing an element sets off never
  // meets one already destroyed.
  void clear() {
    const size_t size = std::exchange(size_, 0u);
    for (size_t i = 0; i < size; ++i)
      data_[i].~T();
  }

 private:
  // Counts are kept in 31 bits, which no container in memory comes near.
  static uint32_t CheckedCapacity(size_t capacity) {
    if (capacity > kMaxCapacity)
      throw std::length_error("cf container too large");
    return static_cast<uint32_t>(capacity);
  }

  void Grow() {
    const size_t capacity = CheckedCapacity(std::max<size_t>(4, 2 * size_t{capacity_}));
    T* data = static_cast<T*>(::operator new(capacity * sizeof(T)));
    for (size_t i = 0; i < size_; ++i) {
      ::new (data + i) T(std::move(data_[i]));
      data_[i].~T();
    }
    if (on_heap_)
      ::operator delete(data_);
    data_ = data;
    capacity_ = static_cast<uint32_t>(capacity);
    on_heap_ = true;
  }

  static constexpr size_t kMaxCapacity = (size_t{1} << 31) - 1;
  T* data_;
  uint32_t size_ = 0;
  uint32_t capacity_ : 31;
  uint32_t on_heap_ : 1 = false;
};

}  // namespace internal

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

// A dictionary key: any bytes (UTF-8 or not), immutable and shared by
// reference, so a key made once can stand in every dictionary that uses it -
// the rows of one table, say - without a copy each. Not a value: a key holds
// nothing, so it needs no cycle collection and is not counted as live. Its
// hash is taken once, when it is made, so that two keys of different text
// almost always tell so without a look at it.
class Key {
 public:
  explicit Key(std::string_view text);
  Key(const Key& other) noexcept : block_(other.block_) { ++block_->count; }
  Key(Key&& other) noexcept : block_(std::exchange(other.block_, nullptr)) {}
  Key& operator=(Key other) noexcept {
    std::swap(block_, other.block_);
    return *this;
  }
  ~Key() {
    if (block_ != nullptr && --block_->count == 0)
      ::operator delete(block_);
  }

  std::string_view view() const { return {text(), block_->size}; }
  operator std::string_view() const { return view(); }
  // The text followed by a NUL.
  const char* c_str() const { return text(); }
  // std::hash of the text, taken when the key was made.
  size_t hash() const { return block_->hash; }
  // Whether both share one text, which makes them equal without a look at it.
  bool SameAs(const Key& other) const { return block_ == other.block_; }
  // Equal texts, shared or not.
  friend bool operator==(const Key& a, const Key& b) {
    return a.SameAs(b) || (a.block_->hash == b.block_->hash && a.view() == b.view());
  }

 private:
  // Followed by the text and a NUL, in one allocation.
  struct Block {
    size_t count;
    size_t size;
    size_t hash;
  };
  const char* text() const { return reinterpret_cast<const char*>(block_ + 1); }
  Block* block_;
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
  // changes; a nested array or dictionary counts only by its kind, since it
  // may change without this one knowing.
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
    hash_ = 0;
    NoteChild(*value);
    entries_.emplace_back(key, std::move(value));
    if (index_ || entries_.size() > kIndexThreshold)
      IndexLastEntry();
  }
  // Below this many entries a linear scan beats hashing.
  static constexpr size_t kIndexThreshold = 16;
  // Adds the entry just appended to the index, building the index first
  // when the dictionary has just grown past kIndexThreshold.
  void IndexLastEntry();
  internal::Slots<Entry> entries_;
  // Index into entries_ by key; built once the dictionary is big enough to need it.
  class Index;
  std::unique_ptr<Index> index_;
  // Zero until Hash() is next asked for: never a hash itself.
  mutable size_t hash_ = 0;
};

// A file URL: an absolute file-system path. Not a property-list type, so a
// tree that holds one cannot be serialised.
class URL final : public Object {
 public:
  // Null unless `path` is absolute. A trailing slash is kept only for "/".
  static Ref<URL> CreateWithFileSystemPath(std::string_view path);
  // This URL with `component` (which may hold slashes) appended as one path component.
  Ref<URL> CopyAppendingPathComponent(std::string_view component) const;

  const std::string& path() const { return path_; }
  // "file://" followed by the percent-encoded path.
  std::string AbsoluteString() const;

 private:
  explicit URL(std::string path) : Object(TypeID::kURL), path_(std::move(path)) {}
  std::string path_;
};

// In the header, so that the many checks of a value's kind cost no call.
inline const String* Object::AsString() const {
  return type_ == TypeID::kString ? static_cast<const String*>(this) : nullptr;
}
inline const Boolean* Object::AsBoolean() const {
  return type_ == TypeID::kBoolean ? static_cast<const Boolean*>(this) : nullptr;
}
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
inline const URL* Object::AsURL() const {
  return type_ == TypeID::kURL ? static_cast<const URL*>(this) : nullptr;
}

// A reference is taken and dropped for every copy of a Ref, so the common
// cases cost no call: a release that leaves the object alive and cannot cut
// off a cycle only counts down.
inline void Retain(Object* object) {
  ++object->count_;
  if (object->color_ != Object::kCollecting)
    object->color_ = Object::kBlack;
}

inline void Release(Object* object) {
  if (object->count_ > 1 && !object->holds_container_) {
    --object->count_;
    return;
  }
  internal::ReleaseToCollector(object);
}

// Deep equality as the platform's CFEqual has it: strings by content, booleans
// by value, arrays in order, dictionaries by key set and values, URLs by path.
// The same object is equal to itself without looking inside, and a pair
// already under comparison counts as equal, so cycles terminate. Two nulls
// are equal; null and non-null are not.
bool Equal(const Object* a, const Object* b);

// Frees every garbage cycle now. Also runs by itself when enough candidates
// have gathered, and at process exit.
void CollectCycles();

// How many values exist right now; lets tests see that memory was reclaimed.
size_t LiveObjectCount();

// Helpers that keep call sites short.
inline Ref<Object> MakeString(std::string_view utf8) {
  return String::Create(utf8);
}

}  // namespace cf

#endif  // PLATFORM_VALUES_H_
