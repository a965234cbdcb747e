// SQLite's printf: C's conversions plus %q and %Q for pasting text into
// SQL, with the 2.8.13 formatter's handling of anything it does not know.
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "sqlite2/sqlite.h"

namespace {

// The variable arguments, shared by the helpers below: a va_list passed
// by value would, on some platforms, not advance for the caller.
struct Args {
  va_list list;
};

struct Spec {
  std::string flags;
  int width = -1;
  int precision = -1;
  int longs = 0;  // how many 'l' modifiers
  char conversion = 0;
};

// C's own rendering of one numeric conversion.
template <typename T>
void AppendC(const Spec& spec, char conversion, const char* length, T value, std::string* out) {
  std::string format = "%" + spec.flags;
  if (spec.width >= 0)
    format += std::to_string(spec.width);
  if (spec.precision >= 0)
    format += "." + std::to_string(spec.precision);
  format += length;
  format += conversion;
  const int size = std::snprintf(nullptr, 0, format.c_str(), value);
  if (size <= 0)
    return;
  std::string text(static_cast<size_t>(size) + 1, '\0');
  std::snprintf(text.data(), text.size(), format.c_str(), value);
  text.pop_back();
  out->append(text);
}

void AppendPadded(const Spec& spec, const std::string& text, std::string* out) {
  const size_t width = spec.width > 0 ? static_cast<size_t>(spec.width) : 0;
  const size_t pad = text.size() < width ? width - text.size() : 0;
  const bool left = spec.flags.find('-') != std::string::npos;
  if (!left)
    out->append(pad, ' ');
  out->append(text);
  if (left)
    out->append(pad, ' ');
}

// %q doubles every single quote; %Q also wraps the text in quotes and
// writes a NULL pointer as the bare word NULL.
std::string QuoteText(const char* text, bool wrap) {
  if (text == nullptr)
    return wrap ? "NULL" : "(NULL)";
  std::string quoted = wrap ? "'" : "";
  for (const char* p = text; *p != '\0'; ++p) {
    quoted.push_back(*p);
    if (*p == '\'')
      quoted.push_back('\'');
  }
  if (wrap)
    quoted.push_back('\'');
  return quoted;
}

// Reads the flags, width, precision and length of a conversion from `p`
// (just past the '%'); returns where the conversion character is.
const char* ParseSpec(const char* p, Args* args, Spec* spec) {
  while (*p != '\0' && std::strchr("-+ #0", *p) != nullptr)
    spec->flags.push_back(*p++);
  if (*p == '*') {
    spec->width = va_arg(args->list, int);
    if (spec->width < 0) {
      spec->flags.push_back('-');
      spec->width = -spec->width;
    }
    ++p;
  } else {
    for (spec->width = 0; *p >= '0' && *p <= '9'; ++p)
      spec->width = spec->width * 10 + (*p - '0');
  }
  if (*p == '.') {
    ++p;
    if (*p == '*') {
      spec->precision = va_arg(args->list, int);
      ++p;
    } else {
      for (spec->precision = 0; *p >= '0' && *p <= '9'; ++p)
        spec->precision = spec->precision * 10 + (*p - '0');
    }
  }
  for (; *p == 'l' && spec->longs < 2; ++p)
    ++spec->longs;
  return p;
}

void AppendSigned(const Spec& spec, char conversion, Args* args, std::string* out) {
  if (spec.longs == 2)
    AppendC(spec, conversion, "ll", va_arg(args->list, long long), out);
  else if (spec.longs == 1)
    AppendC(spec, conversion, "l", va_arg(args->list, long), out);
  else
    AppendC(spec, conversion, "", va_arg(args->list, int), out);
}

void AppendUnsigned(const Spec& spec, char conversion, Args* args, std::string* out) {
  if (spec.longs == 2)
    AppendC(spec, conversion, "ll", va_arg(args->list, unsigned long long), out);
  else if (spec.longs == 1)
    AppendC(spec, conversion, "l", va_arg(args->list, unsigned long), out);
  else
    AppendC(spec, conversion, "", va_arg(args->list, unsigned int), out);
}

// The whole output, NULs included: an unknown conversion writes "%" and a
// NUL, which ends the text as C sees it, and formatting goes on after it.
std::string FormatArgs(const char* format, Args* args) {
  std::string out;
  for (const char* p = format; *p != '\0'; ++p) {
    if (*p != '%') {
      out.push_back(*p);
      continue;
    }
    Spec spec;
    p = ParseSpec(p + 1, args, &spec);
    const char c = *p;
    switch (c) {
      case 'd':
      case 'i':
        AppendSigned(spec, c, args, &out);
        break;
      case 'u':
      case 'x':
      case 'X':
      case 'o':
        AppendUnsigned(spec, c, args, &out);
        break;
      case 'f':
      case 'e':
      case 'E':
      case 'g':
      case 'G':
        AppendC(spec, c, "", va_arg(args->list, double), &out);
        break;
      case 'c':
        AppendPadded(spec, std::string(1, static_cast<char>(va_arg(args->list, int))), &out);
        break;
      case 'p': {
        // Pointers print in decimal.
        Spec decimal = spec;
        decimal.longs = 2;
        AppendC(
            decimal, 'u', "ll",
            static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(va_arg(args->list, void*))),
            &out);
        break;
      }
      case 's': {
        const char* text = va_arg(args->list, const char*);
        std::string value = text != nullptr ? text : "";
        if (spec.precision >= 0 && value.size() > static_cast<size_t>(spec.precision))
          value.resize(static_cast<size_t>(spec.precision));
        AppendPadded(spec, value, &out);
        break;
      }
      case 'q':
      case 'Q':
        AppendPadded(spec, QuoteText(va_arg(args->list, const char*), c == 'Q'), &out);
        break;
      case 'n':
        *va_arg(args->list, int*) = static_cast<int>(out.size());
        break;
      case '%':
        out.push_back('%');
        break;
      case '\0':
        // A '%' at the very end stands for itself.
        out.push_back('%');
        return out;
      default:
        // Unknown, %z included: the argument is not used up.
        out.push_back('%');
        out.push_back('\0');
        break;
    }
  }
  return out;
}

std::string Format(const char* format, va_list ap) {
  Args args;
  va_copy(args.list, ap);
  std::string out = FormatArgs(format, &args);
  va_end(args.list);
  return out;
}

char* CopyToMalloc(const std::string& text) {
  char* copy = static_cast<char*>(std::malloc(text.size() + 1));
  if (copy != nullptr) {
    std::memcpy(copy, text.data(), text.size());
    copy[text.size()] = '\0';
  }
  return copy;
}

}  // namespace

extern "C" {

char* sqlite_vmprintf(const char* zFormat, va_list ap) {
  return CopyToMalloc(Format(zFormat != nullptr ? zFormat : "", ap));
}

char* sqlite_mprintf(const char* zFormat, ...) {
  va_list ap;
  va_start(ap, zFormat);
  char* text = sqlite_vmprintf(zFormat, ap);
  va_end(ap);
  return text;
}

int sqlite_exec_vprintf(sqlite* db, const char* sqlFormat, sqlite_callback xCallback, void* pArg,
                        char** errmsg, va_list ap) {
  // The statement is the formatted text up to its first NUL.
  const std::string sql = Format(sqlFormat != nullptr ? sqlFormat : "", ap);
  return sqlite_exec(db, sql.c_str(), xCallback, pArg, errmsg);
}

int sqlite_exec_printf(sqlite* db, const char* sqlFormat, sqlite_callback xCallback, void* pArg,
                       char** errmsg, ...) {
  va_list ap;
  va_start(ap, errmsg);
  const int rc = sqlite_exec_vprintf(db, sqlFormat, xCallback, pArg, errmsg, ap);
  va_end(ap);
  return rc;
}

}  // extern "C"
