// The string operations the plug-in needs beyond what cf::String offers.
#ifndef PLATFORM_STRINGS_H_
#define PLATFORM_STRINGS_H_

#include <string_view>

#include "platform/values.h"

enum CFComparisonResult {
  kCFCompareLessThan = -1,
  kCFCompareEqualTo = 0,
  kCFCompareGreaterThan = 1
};
enum CFStringCompareFlags { kCFCompareNone = 0, kCFCompareCaseInsensitive = 1 };

// Compares two strings. With kCFCompareCaseInsensitive both are compared after
// Unicode full case folding ("STRASSE" equals "straße"); otherwise by UTF-16
// code units, as the platform orders strings.
CFComparisonResult CFStringCompare(const cf::String& a, const cf::String& b,
                                   CFStringCompareFlags options);

namespace cf {
// Orders UTF-8 texts as their UTF-16 code units order, the order in which the
// platform sorts dictionary keys. Same result as CFStringCompare without flags.
CFComparisonResult CompareAsUtf16(std::string_view a, std::string_view b);
}  // namespace cf

// The leading decimal integer of the text: leading white space skipped, an
// optional sign, then digits; 0 when there are none; clamped to the int range.
int CFStringGetIntValue(const cf::String& text);

namespace cf {
// The same for UTF-8 text that is no string of its own, such as a column of
// a row read straight from the database.
int IntValue(std::string_view utf8);
}  // namespace cf

#endif  // PLATFORM_STRINGS_H_
