// B-tree keys.
//
// Table key: 4 bytes, always big-endian, holding the signed 32-bit rowid
// with its sign bit flipped, so that byte order is numeric order:
// -2147483648 is 00 00 00 00, -5 is 7f ff ff fb, 1 is 80 00 00 01.
//
// Index key: one field per indexed column, then the row's table key. Each
// field ends with a NUL and holds no other NUL:
//   'a' NUL                  SQL NULL
//   'b' sortable-number NUL  a number in a numeric column
//   'c' text NUL             anything else
// so NULLs sort first, then numbers in numeric order, then text in byte
// order, and entries with equal fields sort by rowid.
//
// A sortable number is base-64 text (digits 0-9 A-Z a-z | ~) whose byte
// order is numeric order: a sign character ('-' below zero, else '0'), two
// digits of a biased base-64 exponent, then up to ten digits of mantissa.
#ifndef SQLITE2_FORMAT_KEYS_H_
#define SQLITE2_FORMAT_KEYS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace sqlite2::format {

inline constexpr size_t kRowidKeySize = 4;

std::string EncodeRowidKey(int32_t rowid);
// The same into the kRowidKeySize bytes at `out`.
void EncodeRowidKey(int32_t rowid, char* out);
// Decodes the first kRowidKeySize bytes at `key`.
int32_t DecodeRowidKey(const char* key);
// The rowid of a table key whose first bytes, zero-padded to four, read
// `head` as a big-endian number. The library takes the rowid from those
// bytes whatever the key's size.
int32_t DecodeRowidKeyHead(uint32_t head);

// Appends the sortable text of `value` (without the 'b' and the NUL).
void AppendSortableNumber(double value, std::string* out);

// Append one complete index field.
void AppendNullField(std::string* out);
void AppendNumberField(double value, std::string* out);
void AppendTextField(std::string_view text, std::string* out);

// Appends the field the library stores for `value` (nullopt is SQL NULL) in
// a column that indexes as text when `text_column` is set, else as a number
// whenever the value looks like one. Lookup keys are built the same way.
void AppendIndexField(std::optional<std::string_view> value, bool text_column, std::string* out);

}  // namespace sqlite2::format

#endif  // SQLITE2_FORMAT_KEYS_H_
