// Numbers written as text, the way the engine sees them.
//
// Values are stored as the text they were inserted with ("05" stays "05"),
// so whether a value is a number, and which number, is decided each time it
// is compared or indexed. Both rules here are the 2.8 library's own, and
// index keys depend on them bit for bit: a lookup key built with a
// different conversion would miss entries the library finds.
#ifndef SQLITE2_SQL_NUMBERS_H_
#define SQLITE2_SQL_NUMBERS_H_

#include <string_view>

namespace sqlite2::sql {

// True when all of `text` is: an optional sign, one or more digits,
// optionally '.' and one or more digits, optionally 'e' or 'E' with an
// optional sign and one or more digits. No spaces, no leading or trailing
// dot, no hex.
bool LooksLikeNumber(std::string_view text);

// Converts the longest numeric prefix of `text` (the shape above, parsed
// leniently) to a double by accumulating digits in long double, as the
// library does; this is not strtod and differs from it in the last bits of
// some exponent forms. Text without digits converts to 0.
double AtoF(std::string_view text);

}  // namespace sqlite2::sql

#endif  // SQLITE2_SQL_NUMBERS_H_
