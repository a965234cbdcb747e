// Result rows as JSON lines, in the exact text the fixture dumps use:
// [["column", "value"], ["column", null], ...] with ", " and ": "
// separators, non-ASCII characters written as themselves, and every byte
// that is not part of well-formed UTF-8 written as the four characters
// \xHH (lower-case hex) - what Python's
// bytes.decode('utf-8', 'backslashreplace') and json.dumps(...,
// ensure_ascii=False) make of the same bytes.
#ifndef CLI_JSON_ROW_H_
#define CLI_JSON_ROW_H_

#include <string>
#include <string_view>

// A JSON string literal, quotes included.
std::string JsonString(std::string_view bytes);
// The same appended to `out`: for writers of large documents, which keep one
// buffer.
void AppendJsonString(std::string_view bytes, std::string* out);

// One row as handed to an sqlite_exec() callback; a NULL value is null.
std::string JsonRow(int argc, char** argv, char** column_names);

#endif  // CLI_JSON_ROW_H_
