// The rowid an INTEGER PRIMARY KEY value stands for when a row is inserted.
#ifndef SQLITE2_WRITER_ROWID_VALUE_H_
#define SQLITE2_WRITER_ROWID_VALUE_H_

#include <cstdint>
#include <optional>
#include <string_view>

namespace sqlite2::writer {

// An optional sign and up to ten digits within 32 bits, or else any text
// that looks like a number whose value is a whole 32-bit integer ("5.0",
// "1e1", "-2147483648"). Anything else is a datatype mismatch: nullopt.
std::optional<int32_t> RowidFromText(std::string_view text);

}  // namespace sqlite2::writer

#endif  // SQLITE2_WRITER_ROWID_VALUE_H_
