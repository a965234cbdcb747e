// The base of every value, and how values are owned: Ref<T>, an intrusive
// strong reference, and the reference counts it keeps. Containers may form
// cycles (a container can hold itself); a synchronous cycle collector
// (collector.cpp) finds garbage cycles among containers whose count dropped
// without reaching zero, so memory is reclaimed even then.
//
// What a container must do for the counts and the collector to stay right
// is written once, in containers.h.
//
// Threads: values are not synchronised. All values of a process are used from
// one thread at a time (the plug-in's one-thread rule keeps them on the main
// thread).
#ifndef PLATFORM_VALUES_OBJECT_H_
#define PLATFORM_VALUES_OBJECT_H_

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

namespace cf {

enum class TypeID : uint8_t { kString, kBoolean, kArray, kDictionary, kURL };

class Object;
inline void Retain(Object* object);
inline void Release(Object* object);
namespace internal {
// Release's way for the last reference and for a container that has held
// one (see collector.cpp).
void ReleaseToCollector(Object* object);
// How many values exist: each kind's Create counts one up, the collector
// counts down what it frees (collector.cpp). Hidden, so that position-
// independent code reaches it directly rather than through the global
// offset table: it is counted on every value made and freed.
extern size_t live_objects __attribute__((visibility("hidden")));
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
  // Defined inline beside each kind, so the many checks cost no call.
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
  // For containers: notes that `child` is stored in this one (the first rule
  // of containers.h).
  void NoteChild(const Object& child) {
    if (child.type_ == TypeID::kArray || child.type_ == TypeID::kDictionary)
      holds_container_ = true;
  }

 private:
  friend void Retain(Object*);
  friend void Release(Object*);
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

// Frees every garbage cycle now. Also runs by itself when enough candidates
// have gathered, and at process exit.
void CollectCycles();

// How many values exist right now; lets tests see that memory was reclaimed.
size_t LiveObjectCount();

}  // namespace cf

#endif  // PLATFORM_VALUES_OBJECT_H_
