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
//
// The library reads one column at a time and checks only what that column
// needs, against the length L the cell claims: that L holds the column's
// start offset, and that its end offset lies neither before its start nor
// beyond L. Nothing else - not off[0], not the column count - is checked,
// and a column never read is never checked. So a cell whose data size is
// damaged is read with the width that size calls for, from the bytes
// where the record really is.
#ifndef SQLITE2_FORMAT_RECORD_H_
#define SQLITE2_FORMAT_RECORD_H_

#include <cstddef>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "sqlite2/status.h"

namespace sqlite2::format {

// A record as its cell holds it: `size` is the length L the cell claims,
// `bytes` the bytes the cell and its overflow chain hold of it - all of
// them unless the chain is broken. Bytes beyond those read as zero.
struct Record {
  std::string_view bytes;
  size_t size = 0;
};

// One view per column into the record bytes; nullopt is SQL NULL. Callers
// see values as C strings, so a value holding a NUL ends at that NUL.
using RecordValues = std::vector<std::optional<std::string_view>>;

// Width of each offset in a record of `record_size` bytes.
size_t RecordOffsetWidth(size_t record_size);

// Reads column `column` of `record` into `*out`. Corrupt where the library
// finds the record damaged (see above), and where a value holds no NUL at
// all: the library would read on past it.
Status DecodeColumn(const Record& record, size_t column, std::optional<std::string_view>* out);
// Reads `columns`, in that order, each into its place in `out` (which has
// room for all of them), and stops at the first that is corrupt.
Status DecodeColumns(const Record& record, std::span<const size_t> columns, RecordValues* out);
// Reads columns 0 to column_count - 1 into `out`, from a record that
// claims `column_count` columns or from one held whole.
Status DecodeRecord(const Record& record, size_t column_count, RecordValues* out);
Status DecodeRecord(std::string_view record, size_t column_count, RecordValues* out);

}  // namespace sqlite2::format

#endif  // SQLITE2_FORMAT_RECORD_H_
