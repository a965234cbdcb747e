#include "platform/plist_binary_reader.h"

#include <plist/plist.h>

#include <cstdint>

#include "platform/libplist_values.h"

namespace {

void SetWhy(std::string* why, const char* text) {
  if (why != nullptr)
    *why = text;
}

}  // namespace

cf::Ref<cf::Object> ReadBinaryPropertyList(std::string_view bytes, std::string* why) {
  if (!BinaryPropertyListIsSafe(bytes, why))
    return nullptr;
  plist_t parsed = nullptr;
  plist_from_bin(bytes.data(), static_cast<uint32_t>(bytes.size()), &parsed);
  if (parsed == nullptr) {
    SetWhy(why, "damaged binary property list");
    return nullptr;
  }
  cf::Ref<cf::Object> value = cf::CreateValueFromPlistNode(parsed);
  plist_free(parsed);
  if (!value)
    SetWhy(why,
           "binary property list holding a value other than strings, booleans, arrays "
           "and dictionaries, or text that is not UTF-8");
  return value;
}
