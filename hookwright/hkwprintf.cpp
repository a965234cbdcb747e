#include "hookwright/hkwprintf.h"

#include <locale.h>

#include <cstdio>

namespace hookwright::format_detail {
namespace {

// snprintf under the "C" locale, whatever the process's locale is.
template <class T>
void AppendPrintf(std::string& out, const std::string& directive, T value) {
  static locale_t c_locale = newlocale(LC_ALL_MASK, "C", nullptr);
  locale_t previous = uselocale(c_locale);
  char small[128];
  int needed = std::snprintf(small, sizeof small, directive.c_str(), value);
  if (needed >= 0 && static_cast<size_t>(needed) < sizeof small) {
    out.append(small, static_cast<size_t>(needed));
  } else if (needed >= 0) {
    std::string large(static_cast<size_t>(needed) + 1, '\0');
    std::snprintf(large.data(), large.size(), directive.c_str(), value);
    out.append(large.data(), static_cast<size_t>(needed));
  }
  uselocale(previous);
}

// Applies C's integer conversion for the length modifier, then prints.
// `directive` holds "%", the flags, the width and the precision.
void AppendInteger(std::string& out, const std::string& directive, std::string_view length,
                   char letter, unsigned long long bits) {
  const bool is_signed = letter == 'd' || letter == 'i';
  if (letter == 'c') {
    AppendPrintf(out, directive + 'c', static_cast<int>(static_cast<unsigned char>(bits)));
  } else if (length == "ll" || length == "q") {
    if (is_signed)
      AppendPrintf(out, directive + "ll" + letter, static_cast<long long>(bits));
    else
      AppendPrintf(out, directive + "ll" + letter, bits);
  } else if (length == "l") {
    if (is_signed)
      AppendPrintf(out, directive + "l" + letter, static_cast<long>(bits));
    else
      AppendPrintf(out, directive + "l" + letter, static_cast<unsigned long>(bits));
  } else if (length == "h") {
    if (is_signed)
      AppendPrintf(out, directive + letter, static_cast<int>(static_cast<short>(bits)));
    else
      AppendPrintf(out, directive + letter,
                   static_cast<unsigned>(static_cast<unsigned short>(bits)));
  } else {
    if (is_signed)
      AppendPrintf(out, directive + letter, static_cast<int>(bits));
    else
      AppendPrintf(out, directive + letter, static_cast<unsigned>(bits));
  }
}

}  // namespace

std::string Render(std::string_view format, std::span<FormatArg> args) {
  std::string out;
  out.reserve(format.size() + 16 * args.size());
  size_t next_arg = 0;
  for (size_t i = 0; i < format.size();) {
    if (format[i] != '%') {
      size_t end = format.find('%', i);
      if (end == std::string_view::npos)
        end = format.size();
      out.append(format.substr(i, end - i));
      i = end;
      continue;
    }
    char letter = 0;
    size_t end = ParseConversion(format, i, letter);
    if (letter == '%') {
      out.push_back('%');
      i = end;
      continue;
    }
    // Split "%<flags width precision><length><letter>" into its parts.
    std::string_view whole = format.substr(i, end - i);
    size_t length_start = whole.size() - 1;
    while (length_start > 1 &&
           std::string_view("hlq").find(whole[length_start - 1]) != std::string_view::npos) {
      --length_start;
    }
    std::string_view length = whole.substr(length_start, whole.size() - 1 - length_start);
    std::string directive(whole.substr(0, length_start));
    const FormatArg& arg = args[next_arg++];
    switch (letter) {
      case 'f':
      case 'e':
      case 'g':
        AppendPrintf(out, directive + letter, arg.real);
        break;
      case 's':
      case '@': {
        std::string text(arg.text);  // printf needs a terminated string
        AppendPrintf(out, directive + 's', text.c_str());
        break;
      }
      default:
        AppendInteger(out, directive, length, letter, arg.bits);
        break;
    }
    i = end;
  }
  return out;
}

}  // namespace hookwright::format_detail
