#include "platform/values/equal.h"

#include <functional>
#include <unordered_set>
#include <utility>
#include <vector>

#include "platform/values/boolean.h"
#include "platform/values/containers.h"
#include "platform/values/string.h"
#include "platform/values/url.h"

namespace cf {
namespace {

struct PairHash {
  size_t operator()(const std::pair<const Object*, const Object*>& pair) const {
    return std::hash<const void*>()(pair.first) * 31 + std::hash<const void*>()(pair.second);
  }
};

// Compares two values without looking into containers; says whether their
// contents still need comparing.
bool ShallowEqual(const Object* a, const Object* b, bool* look_inside) {
  *look_inside = false;
  if (a == b)
    return true;
  if (!a || !b || a->type() != b->type())
    return false;
  switch (a->type()) {
    case TypeID::kString:
      return *a->AsString() == *b->AsString();
    case TypeID::kBoolean:
      return a->AsBoolean()->value() == b->AsBoolean()->value();
    case TypeID::kURL:
      return a->AsURL()->path() == b->AsURL()->path();
    case TypeID::kArray:
      *look_inside = true;
      return a->AsArray()->size() == b->AsArray()->size();
    case TypeID::kDictionary:
      *look_inside = true;
      return a->AsDictionary()->size() == b->AsDictionary()->size();
  }
  return false;
}

}  // namespace

bool Equal(const Object* a, const Object* b) {
  bool look_inside;
  if (!ShallowEqual(a, b, &look_inside))
    return false;
  if (!look_inside)
    return true;
  // Pairs of containers are compared from a work list rather than by
  // recursion, so depth costs no stack, and plain values are compared as
  // they are met, so the first difference ends the walk before the rest is
  // looked at. A pair met again is either under comparison or already found
  // equal (a difference ends the walk at once), so it counts as equal: that
  // is what makes cycles terminate and shared children compare once. Only
  // pairs with a shared side can be met again: a cycle that the caller's
  // references reach has a member held from outside it as well as from
  // inside. So only those are recorded, and comparing a tree of containers
  // that each have one parent allocates next to nothing.
  std::vector<std::pair<const Object*, const Object*>> work;
  std::unordered_set<std::pair<const Object*, const Object*>, PairHash> seen;
  auto compare = [&work](const Object* x, const Object* y) {
    bool containers;
    if (!ShallowEqual(x, y, &containers))
      return false;
    if (containers)
      work.emplace_back(x, y);
    return true;
  };
  for (std::pair<const Object*, const Object*> pair{a, b};;) {
    const auto [x, y] = pair;
    if (const Array* array = x->AsArray()) {
      const Array* other = y->AsArray();
      for (size_t i = 0; i < array->size(); ++i) {
        if (!compare(array->at(i).get(), other->at(i).get()))
          return false;
      }
    } else {
      // Dictionaries made alike hold their keys in one order: a key is
      // looked for only when its counterpart is not where it is.
      const Dictionary* other = y->AsDictionary();
      const Dictionary::Entry* counterparts = other->begin();
      for (const Dictionary::Entry& entry : *x->AsDictionary()) {
        const Dictionary::Entry& at_same_place = *counterparts++;
        const Object* counterpart =
            at_same_place.key == entry.key ? at_same_place.value.get() : other->Get(entry.key);
        if (!counterpart || !compare(entry.value.get(), counterpart))
          return false;
      }
    }
    do {
      if (work.empty())
        return true;
      pair = work.back();
      work.pop_back();
    } while ((pair.first->RetainCount() > 1 || pair.second->RetainCount() > 1) &&
             !seen.insert(pair).second);
  }
}

}  // namespace cf
