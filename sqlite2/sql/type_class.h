// Declared column types and the comparison class they give a column.
//
// A column compares and indexes as text when its declared type mentions
// BLOB, CHAR, CLOB or TEXT anywhere, and as a number otherwise (no type at
// all included). The library matches the first letter of each of those
// words by OR-ing the byte with 0x60, so '4' passes for 't', '#' for 'c'
// and '"' for 'b'; it also runs its search over the length of the type as
// written while reading the type with its whitespace already squeezed out.
// Both quirks are kept so that odd type names classify as they do there.
#ifndef SQLITE2_SQL_TYPE_CLASS_H_
#define SQLITE2_SQL_TYPE_CLASS_H_

#include <string>
#include <string_view>

namespace sqlite2::sql {

// The declared type as the library keeps it: every whitespace byte removed,
// case kept ("VARCHAR (20)" becomes "VARCHAR(20)").
std::string SqueezeType(std::string_view declared);

// Whether a column declared with `declared` (the type as written, from its
// first to its last token) compares as text. Also classifies the word of a
// COLLATE clause.
bool IsTextType(std::string_view declared);

}  // namespace sqlite2::sql

#endif  // SQLITE2_SQL_TYPE_CLASS_H_
