// cf::Key: a dictionary key.
#ifndef PLATFORM_VALUES_KEY_H_
#define PLATFORM_VALUES_KEY_H_

#include <cstddef>
#include <string_view>
#include <utility>

namespace cf {

// Any bytes (UTF-8 or not), immutable and shared by reference, so a key made
// once can stand in every dictionary that uses it - the rows of one table,
// say - without a copy each. Not a value: a key holds nothing, so it needs
// no cycle collection and is not counted as live. Its hash is taken once,
// when it is made, so that two keys of different text almost always tell so
// without a look at it.
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

}  // namespace cf

#endif  // PLATFORM_VALUES_KEY_H_
