// Small builders the value model's tests share.
#ifndef TESTS_PLATFORM_VALUES_BUILDERS_H_
#define TESTS_PLATFORM_VALUES_BUILDERS_H_

#include <initializer_list>
#include <string>
#include <vector>

#include "platform/values.h"

namespace cf::testing_values {

// An array of strings.
inline Ref<Array> ArrayOf(std::initializer_list<const char*> items) {
  Ref<Array> array = Array::Create();
  for (const char* item : items)
    array->Append(MakeString(item));
  return array;
}

// A dictionary's keys, in its order.
inline std::vector<std::string> Keys(const Dictionary& dictionary) {
  std::vector<std::string> keys;
  for (const auto& entry : dictionary)
    keys.emplace_back(entry.key);
  return keys;
}

}  // namespace cf::testing_values

#endif  // TESTS_PLATFORM_VALUES_BUILDERS_H_
