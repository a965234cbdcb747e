// cf::String: immutable text, always well-formed UTF-8.
#ifndef PLATFORM_VALUES_STRING_H_
#define PLATFORM_VALUES_STRING_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

#include "platform/values/hash_mix.h"
#include "platform/values/object.h"

namespace cf {

// The text lives in the same block as the object, right after it: one
// allocation per string. It is padded with zeros to a whole number of
// words, at least one, so two strings compare a word at a time - the ids
// and short names that rows are told apart by, in one go - and hash a word
// at a time.
class String : public Object {
 public:
  // Null when `utf8` is not well-formed UTF-8 (overlong forms, surrogates and
  // code points past U+10FFFF included).
  static Ref<String> Create(std::string_view utf8);
  // A string of each of the NUL-terminated `texts` into `strings`, each null
  // where Create would give null, all in one allocation that goes when the
  // last of them does: for the values of a row, which are made together and
  // mostly go together. At most kMaxRun texts. (string_run.cpp)
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
  // A string of a run (string_run.cpp); the only kind derived from this one.
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

inline const String* Object::AsString() const {
  return type_ == TypeID::kString ? static_cast<const String*>(this) : nullptr;
}

// Keeps call sites short.
inline Ref<Object> MakeString(std::string_view utf8) {
  return String::Create(utf8);
}

}  // namespace cf

#endif  // PLATFORM_VALUES_STRING_H_
