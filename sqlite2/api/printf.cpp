// SQLite's printf: C's conversions plus %q and %Q for pasting text into
// SQL, with the 2.8.13 formatter's handling of anything it does not know.
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "sqlite2/api/format.h"
#include "sqlite2/sqlite.h"

namespace {

// The variable arguments, shared by the helpers below: a va_list passed
// by value would, on some platforms, not advance for the caller.
struct Args {
  va_list list;
};

struct Directive {
  std::string flags;
  int width = -1;
  int precision = -1;
  int longs = 0;  // how many 'l' modifiers
  char conversion = 0;
};

// C's own rendering of one numeric conversion.
template <typename T>
void AppendC(const Directive& directive, char conversion, const char* length, T value,
             std::string* out) {
  std::string format = "%" + directive.flags;
  if (directive.width >= 0)
    format += std::to_string(directive.width);
  if (directive.precision >= 0)
    format.append(".").append(std::to_string(directive.precision));
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

void AppendPadded(const Directive& directive, std::string_view text, std::string* out) {
  const size_t width = directive.width > 0 ? static_cast<size_t>(directive.width) : 0;
  const size_t pad = text.size() < width ? width - text.size() : 0;
  const bool left = pad > 0 && directive.flags.find('-') != std::string::npos;
  if (pad > 0 && !left)
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
const char* ParseDirective(const char* p, Args* args, Directive* directive) {
  while (*p != '\0' && std::strchr("-+ #0", *p) != nullptr)
    directive->flags.push_back(*p++);
  if (*p == '*') {
    directive->width = va_arg(args->list, int);
    if (directive->width < 0) {
      directive->flags.push_back('-');
      directive->width = -directive->width;
    }
    ++p;
  } else {
    for (directive->width = 0; *p >= '0' && *p <= '9'; ++p)
      directive->width = directive->width * 10 + (*p - '0');
  }
  if (*p == '.') {
    ++p;
    if (*p == '*') {
      directive->precision = va_arg(args->list, int);
      ++p;
    } else {
      for (directive->precision = 0; *p >= '0' && *p <= '9'; ++p)
        directive->precision = directive->precision * 10 + (*p - '0');
    }
  }
  for (; *p == 'l' && directive->longs < 2; ++p)
    ++directive->longs;
  return p;
}

void AppendSigned(const Directive& directive, char conversion, Args* args, std::string* out) {
  if (directive.longs == 2)
    AppendC(directive, conversion, "ll", va_arg(args->list, long long), out);
  else if (directive.longs == 1)
    AppendC(directive, conversion, "l", va_arg(args->list, long), out);
  else
    AppendC(directive, conversion, "", va_arg(args->list, int), out);
}

void AppendUnsigned(const Directive& directive, char conversion, Args* args, std::string* out) {
  if (directive.longs == 2)
    AppendC(directive, conversion, "ll", va_arg(args->list, unsigned long long), out);
  else if (directive.longs == 1)
    AppendC(directive, conversion, "l", va_arg(args->list, unsigned long), out);
  else
    AppendC(directive, conversion, "", va_arg(args->list, unsigned int), out);
}

// sqlite2::api::Format() over arguments already copied.
void FormatArgs(const char* format, Args* args, std::string* out) {
  out->clear();
  for (const char* p = format; *p != '\0'; ++p) {
    if (*p != '%') {
      const char* run_end = std::strchr(p, '%');
      if (run_end == nullptr)
        run_end = p + std::strlen(p);
      out->append(p, static_cast<size_t>(run_end - p));
      p = run_end - 1;
      continue;
    }
    // A bare %s, the commonest directive, needs no parsing.
    if (p[1] == 's') {
      const char* text = va_arg(args->list, const char*);
      out->append(text != nullptr ? text : "");
      ++p;
      continue;
    }
    Directive directive;
    p = ParseDirective(p + 1, args, &directive);
    const char c = *p;
    switch (c) {
      case 'd':
      case 'i':
        AppendSigned(directive, c, args, out);
        break;
      case 'u':
      case 'x':
      case 'X':
      case 'o':
        AppendUnsigned(directive, c, args, out);
        break;
      case 'f':
      case 'e':
      case 'E':
      case 'g':
      case 'G':
        AppendC(directive, c, "", va_arg(args->list, double), out);
        break;
      case 'c':
        AppendPadded(directive, std::string(1, static_cast<char>(va_arg(args->list, int))), out);
        break;
      case 'p': {
        // Pointers print in decimal.
        Directive decimal = directive;
        decimal.longs = 2;
        AppendC(
            decimal, 'u', "ll",
            static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(va_arg(args->list, void*))),
            out);
        break;
      }
      case 's': {
        const char* text = va_arg(args->list, const char*);
        std::string_view value = text != nullptr ? text : "";
        if (directive.precision >= 0 && value.size() > static_cast<size_t>(directive.precision))
          value = value.substr(0, static_cast<size_t>(directive.precision));
        AppendPadded(directive, value, out);
        break;
      }
      case 'q':
      case 'Q':
        AppendPadded(directive, QuoteText(va_arg(args->list, const char*), c == 'Q'), out);
        break;
      case 'n':
        *va_arg(args->list, int*) = static_cast<int>(out->size());
        break;
      case '%':
        out->push_back('%');
        break;
      case '\0':
        // A '%' at the very end stands for itself.
        out->push_back('%');
        return;
      default:
        // Unknown, %z included: the argument is not used up.
        out->push_back('%');
        out->push_back('\0');
        break;
    }
  }
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

namespace sqlite2::api {

void Format(const char* format, va_list ap, std::string* out) {
  Args args;
  va_copy(args.list, ap);
  FormatArgs(format, &args, out);
  va_end(args.list);
}

}  // namespace sqlite2::api

extern "C" {

char* sqlite_vmprintf(const char* zFormat, va_list ap) {
  std::string text;
  sqlite2::api::Format(zFormat != nullptr ? zFormat : "", ap, &text);
  return CopyToMalloc(text);
}

char* sqlite_mprintf(const char* zFormat, ...) {
  va_list ap;
  va_start(ap, zFormat);
  char* text = sqlite_vmprintf(zFormat, ap);
  va_end(ap);
  return text;
}

}  // extern "C"
