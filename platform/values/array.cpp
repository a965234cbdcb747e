// cf::Array; the rules its mutators keep are those of containers.h.
#include <stdexcept>

#include "platform/values/containers.h"
#include "platform/values/equal.h"

namespace cf {

Ref<Array> Array::Create(size_t capacity) {
  void* block = ::operator new(sizeof(Array) + capacity * sizeof(Ref<Object>));
  ++internal::live_objects;
  return Ref<Array>(::new (block) Array(capacity));
}

const Ref<Object>& Array::at(size_t index) const {
  if (index >= items_.size())
    throw std::out_of_range("cf::Array::at");
  return items_[index];
}

void Array::Append(Ref<Object> value) {
  if (!value)
    return;
  NoteChild(*value);                      // Rule 1.
  items_.emplace_back(std::move(value));  // Rule 2: the Ref moves in.
}

bool Array::ContainsValue(const Object* value) const {
  // A dictionary is compared only with those of its hash; each keeps its
  // hash, so the rest cost a comparison of two numbers.
  const Dictionary* dictionary = value != nullptr ? value->AsDictionary() : nullptr;
  const size_t hash = dictionary != nullptr ? dictionary->Hash() : 0;
  for (const Ref<Object>& item : items_) {
    if (dictionary != nullptr) {
      const Dictionary* other = item->AsDictionary();
      if (other == nullptr || other->Hash() != hash)
        continue;
    }
    if (Equal(item.get(), value))
      return true;
  }
  return false;
}

// Rule 2: every element, and nothing else.
void Array::ForEachChild(void (*visit)(Object*, void*), void* context) {
  for (const Ref<Object>& item : items_)
    visit(item.get(), context);
}

void Array::DropChildren() {
  items_.clear();  // Rule 2: the size drops before any release.
}

}  // namespace cf
