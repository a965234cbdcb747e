// Deep equality of values.
#ifndef PLATFORM_VALUES_EQUAL_H_
#define PLATFORM_VALUES_EQUAL_H_

#include "platform/values/object.h"

namespace cf {

// Deep equality as the platform's CFEqual has it: strings by content, booleans
// by value, arrays in order, dictionaries by key set and values, URLs by path.
// The same object is equal to itself without looking inside, and a pair
// already under comparison counts as equal, so cycles terminate. Two nulls
// are equal; null and non-null are not.
bool Equal(const Object* a, const Object* b);

}  // namespace cf

#endif  // PLATFORM_VALUES_EQUAL_H_
