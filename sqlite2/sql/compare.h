// How values compare in a WHERE clause.
//
// Every value is text (or SQL NULL). A comparison is numeric unless both
// sides are of the text class: a column has the class of its declared
// type, a quoted literal is text and an unquoted number is numeric.
//  - text: plain byte comparison, exact and case-sensitive;
//  - numeric: when both sides look like numbers they compare as doubles
//    (so '05', '5.0', '+5' and '5e0' all equal 5); a number sorts before
//    anything that is not one; two non-numbers compare as text.
// NULL compares with nothing: the result is unknown, which a WHERE clause
// treats as false.
//
// Equality on its own can also be told by one class per value
// (EqualityClassOf), which lets equal values be found by hashing.
#ifndef SQLITE2_SQL_COMPARE_H_
#define SQLITE2_SQL_COMPARE_H_

#include <cstdint>
#include <optional>
#include <string_view>

namespace sqlite2::sql {

enum class CompareOp { kEq, kNe, kLt, kLe, kGt, kGe };

// The operator that gives the same answer with the operands swapped.
CompareOp Mirror(CompareOp op);

// <0, 0 or >0 by the numeric-class rule above.
int CompareNumericClass(std::string_view a, std::string_view b);

// What `=` tells apart, as one value. Under a comparison of one class, two
// values are equal exactly when their EqualityClasses are equal, or when one
// is kEveryNumber and the other a number of either kind: NaN (from "0e999")
// is neither below nor above any number.
struct EqualityClass {
  enum class Kind { kBytes, kNumber, kEveryNumber };
  Kind kind = Kind::kBytes;
  std::string_view bytes;  // kBytes
  double number = 0;       // kNumber: never NaN, and +0 for -0

  bool operator==(const EqualityClass& other) const {
    return kind == other.kind &&
           (kind == Kind::kBytes ? bytes == other.bytes : number == other.number);
  }
  bool IsNumber() const { return kind != Kind::kBytes; }
};

// The class of `value` under a numeric comparison or a text one.
EqualityClass EqualityClassOf(std::string_view value, bool numeric);

// `left op right`; nullopt when either side is NULL.
std::optional<bool> Compare(CompareOp op, std::optional<std::string_view> left,
                            std::optional<std::string_view> right, bool numeric);

// The rowid a literal compared with the rowid stands for, or nullopt when
// it stands for none (the comparison then finds no row, without an error):
// an optional sign and 1-10 digits within the 32-bit range; else a number
// that converts to a whole 32-bit value exactly.
std::optional<int32_t> RowidFromLiteral(std::optional<std::string_view> literal);

}  // namespace sqlite2::sql

#endif  // SQLITE2_SQL_COMPARE_H_
