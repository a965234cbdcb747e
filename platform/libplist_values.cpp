#include "platform/libplist_values.h"

#include <cstdlib>

#include "platform/utf8.h"

namespace cf {
namespace {

Ref<Object> Convert(plist_t node, int depth) {
  if (depth > kMaxPropertyListDepth)
    return nullptr;
  switch (plist_get_node_type(node)) {
    case PLIST_STRING: {
      uint64_t length = 0;
      const char* text = plist_get_string_ptr(node, &length);
      return String::Create(std::string_view(text, length));
    }
    case PLIST_BOOLEAN: {
      uint8_t value = 0;
      plist_get_bool_val(node, &value);
      return value ? Boolean::True() : Boolean::False();
    }
    case PLIST_ARRAY: {
      Ref<Array> array = Array::Create();
      for (uint32_t i = 0, size = plist_array_get_size(node); i < size; ++i) {
        Ref<Object> item = Convert(plist_array_get_item(node, i), depth + 1);
        if (!item)
          return nullptr;
        array->Append(std::move(item));
      }
      return array;
    }
    case PLIST_DICT: {
      Ref<Dictionary> dictionary = Dictionary::Create();
      plist_dict_iter iterator = nullptr;
      plist_dict_new_iter(node, &iterator);
      bool complete = true;
      while (complete) {
        char* key = nullptr;
        plist_t value = nullptr;
        plist_dict_next_item(node, iterator, &key, &value);
        if (!value) {
          std::free(key);
          break;
        }
        Ref<Object> converted = Convert(value, depth + 1);
        complete = converted && key && IsWellFormedUtf8(key);
        if (complete)
          dictionary->Set(key, std::move(converted));
        std::free(key);
      }
      std::free(iterator);
      return complete ? dictionary : nullptr;
    }
    default:
      return nullptr;  // Numbers, dates, data and the like have no value here.
  }
}

}  // namespace

Ref<Object> CreateValueFromPlistNode(plist_t node) {
  return Convert(node, 0);
}

}  // namespace cf
