// Row records: the data part of a table cell.
//
//   off[0] off[1] ... off[N] | value 0 | value 1 | ... | value N-1
//
// off[i] is where value i starts within the record and off[N] is the record
// length L. The offsets are little-endian whatever the file's byte order,
// and all of one width, chosen by L: 1 byte when L < 256, 2 when
// L < 65536, else 3. So the column count is off[0] / width - 1. A value of
// length 0 is SQL NULL; any other value is its text followed by a NUL, so
// the empty string is a single NUL. A record of length 0 is all NULL.
#ifndef SQLITE2_FORMAT_RECORD_H_
#define SQLITE2_FORMAT_RECORD_H_

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "sqlite2/status.h"

namespace sqlite2::format {

// One view per column into the record bytes; nullopt is SQL NULL. Callers
// see values as C strings, so a value holding a NUL ends at that NUL.
using RecordValues = std::vector<std::optional<std::string_view>>;

// Width of each offset in a record of `record_size` bytes.
size_t RecordOffsetWidth(size_t record_size);

// Decodes a record of a table with `column_count` columns. Corrupt when the
// offsets do not describe exactly that many values inside the record, in
// order, each non-NULL one ending with a NUL; `out` then holds nothing of
// use.
Status DecodeRecord(std::string_view record, size_t column_count, RecordValues* out);

}  // namespace sqlite2::format

#endif  // SQLITE2_FORMAT_RECORD_H_
