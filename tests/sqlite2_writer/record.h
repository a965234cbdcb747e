// Row records: the data part of a table B-tree cell.
//
//   off[0] off[1] ... off[N] | value 0 | value 1 | ... | value N-1
//
// off[i] is where value i starts within the record and off[N] is the record
// length. The offsets are little-endian whatever the file's byte order, all
// of one width: 1 byte when the record is shorter than 256 bytes, 2 when it
// is shorter than 65536, else 3. A value is its text followed by a NUL; SQL
// NULL takes no bytes at all, so '' (one NUL) and NULL stay distinct.
#ifndef TESTS_SQLITE2_WRITER_RECORD_H_
#define TESTS_SQLITE2_WRITER_RECORD_H_

#include <optional>
#include <span>
#include <string>

namespace sqlite2::writer {

using Value = std::optional<std::string>;

// The largest record or index key the library agrees to store.
inline constexpr size_t kMaxRowBytes = 1048576;

// Encodes `values` as a record with the narrowest offsets that fit.
std::string EncodeRecord(std::span<const Value> values);

}  // namespace sqlite2::writer

#endif  // TESTS_SQLITE2_WRITER_RECORD_H_
