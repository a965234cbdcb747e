// SQLite's printf (printf.cpp), for the C interface's functions that
// format SQL themselves.
#ifndef SQLITE2_API_FORMAT_H_
#define SQLITE2_API_FORMAT_H_

#include <cstdarg>
#include <string>

namespace sqlite2::api {

// Replaces `*out` with `format` formatted with the arguments in `ap`, NULs
// included: an unknown conversion writes "%" and a NUL, which ends the
// text as C sees it, and formatting goes on after it. `*out` keeps its
// capacity, so a buffer used again allocates nothing.
void Format(const char* format, va_list ap, std::string* out);

}  // namespace sqlite2::api

#endif  // SQLITE2_API_FORMAT_H_
