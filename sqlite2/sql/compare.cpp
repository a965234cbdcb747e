#include "sqlite2/sql/compare.h"

#include <cmath>
#include <limits>

#include "sqlite2/sql/numbers.h"

namespace sqlite2::sql {
namespace {

constexpr size_t kMaxRowidDigits = 10;

bool Holds(CompareOp op, int order) {
  switch (op) {
    case CompareOp::kEq:
      return order == 0;
    case CompareOp::kNe:
      return order != 0;
    case CompareOp::kLt:
      return order < 0;
    case CompareOp::kLe:
      return order <= 0;
    case CompareOp::kGt:
      return order > 0;
    case CompareOp::kGe:
      return order >= 0;
  }
  return false;
}

// An optional sign and 1-10 digits with a magnitude up to 2^31-1.
std::optional<int32_t> PlainInteger(std::string_view text) {
  size_t pos = 0;
  const bool negative = !text.empty() && text[0] == '-';
  if (!text.empty() && (text[0] == '-' || text[0] == '+'))
    pos = 1;
  const size_t digits = text.size() - pos;
  if (digits == 0 || digits > kMaxRowidDigits)
    return std::nullopt;
  int64_t value = 0;
  for (; pos < text.size(); ++pos) {
    if (text[pos] < '0' || text[pos] > '9')
      return std::nullopt;
    value = value * 10 + (text[pos] - '0');
  }
  if (value > std::numeric_limits<int32_t>::max())
    return std::nullopt;
  return static_cast<int32_t>(negative ? -value : value);
}

}  // namespace

CompareOp Mirror(CompareOp op) {
  switch (op) {
    case CompareOp::kLt:
      return CompareOp::kGt;
    case CompareOp::kLe:
      return CompareOp::kGe;
    case CompareOp::kGt:
      return CompareOp::kLt;
    case CompareOp::kGe:
      return CompareOp::kLe;
    default:
      return op;
  }
}

int CompareNumericClass(std::string_view a, std::string_view b) {
  const bool a_number = LooksLikeNumber(a);
  const bool b_number = LooksLikeNumber(b);
  if (a_number && b_number) {
    const double x = AtoF(a), y = AtoF(b);
    // NaN (from "0e999") is neither less nor greater, so it counts as equal.
    return x < y ? -1 : (x > y ? 1 : 0);
  }
  if (a_number)
    return -1;
  if (b_number)
    return 1;
  return a.compare(b);
}

EqualityClass EqualityClassOf(std::string_view value, bool numeric) {
  EqualityClass result;
  if (!numeric || !LooksLikeNumber(value)) {
    result.bytes = value;
    return result;
  }
  const double number = AtoF(value);
  if (std::isnan(number)) {
    result.kind = EqualityClass::Kind::kEveryNumber;
    return result;
  }
  result.kind = EqualityClass::Kind::kNumber;
  // -0 equals 0 but has other bits, which a hash of the number would see.
  result.number = number == 0 ? 0.0 : number;
  return result;
}

std::optional<bool> Compare(CompareOp op, std::optional<std::string_view> left,
                            std::optional<std::string_view> right, bool numeric) {
  if (!left || !right)
    return std::nullopt;
  return Holds(op, numeric ? CompareNumericClass(*left, *right) : left->compare(*right));
}

std::optional<int32_t> RowidFromLiteral(std::optional<std::string_view> literal) {
  if (!literal)
    return std::nullopt;
  if (std::optional<int32_t> plain = PlainInteger(*literal))
    return plain;
  if (!LooksLikeNumber(*literal))
    return std::nullopt;
  const double value = AtoF(*literal);
  // Out of range (or NaN) never converts back to the same double.
  if (!(value >= std::numeric_limits<int32_t>::min() &&
        value <= std::numeric_limits<int32_t>::max()))
    return std::nullopt;
  const auto rowid = static_cast<int32_t>(value);
  if (static_cast<double>(rowid) != value)
    return std::nullopt;
  return rowid;
}

}  // namespace sqlite2::sql
