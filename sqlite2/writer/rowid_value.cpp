#include "sqlite2/writer/rowid_value.h"

#include <cstdint>

#include "sqlite2/sql/numbers.h"

namespace sqlite2::writer {

std::optional<int32_t> RowidFromText(std::string_view text) {
  std::string_view digits = text;
  const bool negative = !digits.empty() && digits.front() == '-';
  if (!digits.empty() && (digits.front() == '-' || digits.front() == '+'))
    digits.remove_prefix(1);
  if (!digits.empty() && digits.size() <= 10 &&
      digits.find_first_not_of("0123456789") == std::string_view::npos) {
    int64_t value = 0;
    for (char c : digits)
      value = value * 10 + (c - '0');
    if (value <= INT32_MAX)
      return static_cast<int32_t>(negative ? -value : value);
  }
  // Other numbers count when they convert to a whole 32-bit value exactly.
  if (!sql::LooksLikeNumber(text))
    return std::nullopt;
  const double value = sql::AtoF(text);
  if (!(value >= INT32_MIN && value <= INT32_MAX))
    return std::nullopt;
  const auto whole = static_cast<int32_t>(value);
  if (static_cast<double>(whole) != value)
    return std::nullopt;
  return whole;
}

}  // namespace sqlite2::writer
