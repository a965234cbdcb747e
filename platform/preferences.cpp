#include "platform/preferences.h"

#include <optional>
#include <string>

#include "platform/preferences_file.h"

namespace {

bool EqualIgnoringCase(std::string_view text, std::string_view lower) {
  if (text.size() != lower.size())
    return false;
  for (size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c >= 'A' && c <= 'Z')
      c = static_cast<char>(c - 'A' + 'a');
    if (c != lower[i])
      return false;
  }
  return true;
}

std::optional<bool> AsBoolean(plist_t value) {
  switch (plist_get_node_type(value)) {
    case PLIST_BOOLEAN: {
      uint8_t flag = 0;
      plist_get_bool_val(value, &flag);
      return flag != 0;
    }
    case PLIST_UINT: {
      // Negative integers are stored in the same 64 bits; non-zero either way.
      uint64_t number = 0;
      plist_get_uint_val(value, &number);
      return number != 0;
    }
    case PLIST_REAL: {
      double number = 0;
      plist_get_real_val(value, &number);
      return number != 0;
    }
    case PLIST_STRING: {
      uint64_t length = 0;
      const char* text = plist_get_string_ptr(value, &length);
      std::string_view string(text, static_cast<size_t>(length));
      if (EqualIgnoringCase(string, "true") || EqualIgnoringCase(string, "yes"))
        return true;
      if (EqualIgnoringCase(string, "false") || EqualIgnoringCase(string, "no"))
        return false;
      return std::nullopt;
    }
    default:
      return std::nullopt;
  }
}

}  // namespace

bool CFPreferencesGetAppBooleanValue(std::string_view key, std::string_view application_id,
                                     bool* key_exists_and_has_valid_format) {
  std::optional<bool> result;
  UniquePlist root;
  std::string ignored;
  if (key.find('\0') == std::string_view::npos &&
      ReadPreferencesDomain(application_id, &root, &ignored) == DomainState::kPresent) {
    if (plist_t value = plist_dict_get_item(root.get(), std::string(key).c_str())) {
      result = AsBoolean(value);
    }
  }
  if (key_exists_and_has_valid_format != nullptr)
    *key_exists_and_has_valid_format = result.has_value();
  return result.value_or(false);
}
