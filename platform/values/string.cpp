#include "platform/values/string.h"

#include <new>

#include "platform/utf8.h"

namespace cf {

Ref<String> String::Create(std::string_view utf8) {
  if (!IsWellFormedUtf8(utf8))
    return nullptr;
  void* block = ::operator new(sizeof(String) + TextBytes(utf8.size()));
  String* string = ::new (block) String(utf8.size());
  string->Fill(utf8);
  ++internal::live_objects;
  return Ref<String>(string);
}

size_t String::length() const {
  return Utf16Length(utf8());
}

}  // namespace cf
