// The element storage of arrays and dictionaries.
#ifndef PLATFORM_VALUES_SLOTS_H_
#define PLATFORM_VALUES_SLOTS_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <stdexcept>
#include <utility>

namespace cf::internal {

// The first `capacity` elements given at creation live right after the
// container, in the container's own allocation, so a container whose size
// is known when it is made - a row of a table - costs one allocation;
// growing past them moves every element to a block of its own.
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

}  // namespace cf::internal

#endif  // PLATFORM_VALUES_SLOTS_H_
