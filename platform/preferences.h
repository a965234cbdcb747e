// Reading preferences as the platform does.
#ifndef PLATFORM_PREFERENCES_H_
#define PLATFORM_PREFERENCES_H_

#include <string_view>

// The value of `key` in the preferences of `application_id`
// (preferences_file.h) as a boolean: a boolean as it is; a number is true
// when it is not zero; a string "true" or "YES" is true and "false" or "NO"
// false, in any letter case. Anything else (another string, another type, a
// missing key, a missing or unreadable file) gives false, and then
// `*key_exists_and_has_valid_format`, when given, is false too.
bool CFPreferencesGetAppBooleanValue(std::string_view key, std::string_view application_id,
                                     bool* key_exists_and_has_valid_format);

#endif  // PLATFORM_PREFERENCES_H_
