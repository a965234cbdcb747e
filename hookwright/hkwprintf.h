// hkwprintf: the host framework's printf-like log call, checked at compile time.
//
// The format string is parsed when the call is compiled: every conversion must
// have an argument of a matching kind, and there must be exactly one argument
// per conversion. A mismatch fails the build with an error that names
// `hkwprintf_format_does_not_match_arguments`.
//
// Conversions: %d %i %u %x %X %o %c %s %f %e %g %@ %% with the flags "-+ #0",
// a width, a precision and the length modifiers h, l, ll and q (= ll). Integer
// arguments are converted as C's printf converts them under the given length
// (so "%d" prints the low 32 bits as int). Numbers are always written as the
// "C" locale writes them.
//
// %@ takes an object and prints its description. The framework knows no
// object model: an argument type T can stand behind %@ when an overload
//     std::string HookwrightDescribe(const T&)
// is found by argument-dependent lookup. A null pointer prints "(null)".
#ifndef HOOKWRIGHT_HKWPRINTF_H_
#define HOOKWRIGHT_HKWPRINTF_H_

#include <array>
#include <concepts>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include "hookwright/log.h"

namespace hookwright {

template <class T>
concept Describable = requires(const T& value) {
  { HookwrightDescribe(value) } -> std::convertible_to<std::string>;
};

namespace format_detail {

enum class ArgKind { kSigned, kUnsigned, kFloat, kString, kObject, kUnsupported };

template <class T>
consteval ArgKind KindOf() {
  using U = std::remove_cvref_t<T>;
  if constexpr (std::is_same_v<U, bool>) {
    return ArgKind::kUnsupported;
  } else if constexpr (std::is_null_pointer_v<U>) {
    return ArgKind::kObject;
  } else if constexpr (std::is_enum_v<U>) {
    return std::is_signed_v<std::underlying_type_t<U>> ? ArgKind::kSigned : ArgKind::kUnsigned;
  } else if constexpr (std::is_integral_v<U>) {
    return std::is_signed_v<U> ? ArgKind::kSigned : ArgKind::kUnsigned;
  } else if constexpr (std::is_floating_point_v<U>) {
    return ArgKind::kFloat;
  } else if constexpr (std::is_convertible_v<const U&, std::string_view> ||
                       std::is_same_v<std::decay_t<U>, const char*> ||
                       std::is_same_v<std::decay_t<U>, char*>) {
    return ArgKind::kString;
  } else if constexpr (Describable<U>) {
    return ArgKind::kObject;
  } else {
    return ArgKind::kUnsupported;
  }
}

// Not constexpr on purpose: reaching it during constant evaluation stops the
// compilation, and its name is the diagnostic.
void hkwprintf_format_does_not_match_arguments();

// Parses one conversion starting at format[i] == '%'. Returns the index just
// past it and stores the conversion letter (0 for an invalid conversion).
constexpr size_t ParseConversion(std::string_view format, size_t i, char& letter) {
  ++i;
  while (i < format.size() && std::string_view("-+ #0").find(format[i]) != std::string_view::npos)
    ++i;
  while (i < format.size() && format[i] >= '0' && format[i] <= '9')
    ++i;
  if (i < format.size() && format[i] == '.') {
    ++i;
    while (i < format.size() && format[i] >= '0' && format[i] <= '9')
      ++i;
  }
  while (i < format.size() && std::string_view("hlq").find(format[i]) != std::string_view::npos)
    ++i;
  letter = 0;
  if (i < format.size() &&
      std::string_view("diuxXocsfeg@%").find(format[i]) != std::string_view::npos) {
    letter = format[i];
    ++i;
  }
  return i;
}

constexpr bool Accepts(char letter, ArgKind kind) {
  switch (letter) {
    case 'd':
    case 'i':
    case 'u':
    case 'x':
    case 'X':
    case 'o':
    case 'c':
      return kind == ArgKind::kSigned || kind == ArgKind::kUnsigned;
    case 'f':
    case 'e':
    case 'g':
      return kind == ArgKind::kFloat;
    case 's':
      return kind == ArgKind::kString;
    case '@':
      return kind == ArgKind::kObject;
    default:
      return false;
  }
}

// One argument, reduced to what the runtime formatter needs.
struct FormatArg {
  ArgKind kind = ArgKind::kUnsupported;
  unsigned long long bits = 0;  // integers, as the two's-complement bit pattern
  double real = 0;
  std::string_view text{};  // strings
  std::string owned{};      // object descriptions
};

template <class T>
FormatArg MakeArg(const T& value) {
  using U = std::remove_cvref_t<T>;
  constexpr ArgKind kind = KindOf<T>();
  FormatArg arg;
  arg.kind = kind;
  if constexpr (kind == ArgKind::kSigned || kind == ArgKind::kUnsigned) {
    if constexpr (std::is_enum_v<U>) {
      arg.bits = static_cast<unsigned long long>(static_cast<std::underlying_type_t<U>>(value));
    } else {
      arg.bits = static_cast<unsigned long long>(value);
    }
  } else if constexpr (kind == ArgKind::kFloat) {
    arg.real = static_cast<double>(value);
  } else if constexpr (kind == ArgKind::kString) {
    if constexpr (std::is_pointer_v<U>) {
      arg.text = value ? std::string_view(value) : std::string_view("(null)");
    } else {
      arg.text = std::string_view(value);
    }
  } else if constexpr (std::is_null_pointer_v<U>) {
    arg.owned = "(null)";
  } else {
    arg.owned = HookwrightDescribe(value);
  }
  return arg;
}

// Renders `format` with already checked arguments.
std::string Render(std::string_view format, std::span<FormatArg> args);

}  // namespace format_detail

// A format string whose conversions were checked against Args when compiled.
template <class... Args>
class FormatString {
 public:
  template <class S>
  requires std::convertible_to<const S&, std::string_view>
  consteval FormatString(const S& text) : text_(text) {
    constexpr std::array<format_detail::ArgKind, sizeof...(Args)> kinds{
        format_detail::KindOf<Args>()...};
    size_t used = 0;
    for (size_t i = 0; i < text_.size();) {
      if (text_[i] != '%') {
        ++i;
        continue;
      }
      char letter = 0;
      i = format_detail::ParseConversion(text_, i, letter);
      if (letter == '%')
        continue;
      if (letter == 0 || used >= kinds.size() || !format_detail::Accepts(letter, kinds[used])) {
        format_detail::hkwprintf_format_does_not_match_arguments();
      }
      ++used;
    }
    if (used != kinds.size())
      format_detail::hkwprintf_format_does_not_match_arguments();
  }

  constexpr std::string_view text() const { return text_; }

 private:
  std::string_view text_;
};

// Formats like hkwprintf and returns the text instead of logging it.
template <class... Args>
std::string Format(FormatString<std::type_identity_t<Args>...> format, const Args&... args) {
  std::array<format_detail::FormatArg, sizeof...(Args)> packed{format_detail::MakeArg(args)...};
  // Descriptions are owned by the packed arguments; point at them only now
  // that the arguments have found their final place.
  for (auto& arg : packed) {
    if (arg.kind == format_detail::ArgKind::kObject)
      arg.text = arg.owned;
  }
  return format_detail::Render(format.text(), packed);
}

}  // namespace hookwright

// The log call of the host framework: formats and hands the whole text to the
// log sink in one piece.
template <class... Args>
void hkwprintf(hookwright::FormatString<std::type_identity_t<Args>...> format,
               const Args&... args) {
  hookwright::WriteLog(hookwright::Format<Args...>(format, args...));
}

#endif  // HOOKWRIGHT_HKWPRINTF_H_
