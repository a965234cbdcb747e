// The records of the set tree, their keys, and the conversion of one result
// row into a dictionary.
//
// A set dictionary holds "id", "SetName", "FontSetType" and every other
// non-empty column of its `sets` row; the resolver adds "Fonts", "Children",
// "ChildrenNames" and "HasParents". A font-info dictionary holds the mapped
// columns of its `fonts` row. No record ever holds an empty string.
#ifndef READER_RECORDS_H_
#define READER_RECORDS_H_

#include <string_view>

#include "platform/values.h"

inline constexpr std::string_view kQBFontInfoPostScriptName = "kQBFontInfoPostScriptName";
inline constexpr std::string_view kQBFontInfoFamilyName = "kQBFontInfoFamilyName";
inline constexpr std::string_view kQBFontInfoFoundry = "kQBFontInfoFoundry";
inline constexpr std::string_view kQBFontInfoFontFormat = "kQBFontInfoFontFormat";
inline constexpr std::string_view kQBFontInfoFilePath = "kQBFontInfoFilePath";

inline constexpr std::string_view kSetNameKey = "SetName";
inline constexpr std::string_view kFontsKey = "Fonts";
inline constexpr std::string_view kChildrenKey = "Children";
inline constexpr std::string_view kChildrenNamesKey = "ChildrenNames";
inline constexpr std::string_view kHasParentsKey = "HasParents";
inline constexpr std::string_view kFontSetTypeKey = "FontSetType";

// Columns whose meaning the reader relies on; they keep their names as keys.
inline constexpr std::string_view kIDColumn = "id";
inline constexpr std::string_view kParentIDColumn = "parentID";
inline constexpr std::string_view kChildTypeColumn = "childtype";
inline constexpr std::string_view kChildIDColumn = "childid";

// Turns one row, as the database hands it to a row callback, into a
// dictionary: NULL and empty values and text that is not UTF-8 are left out,
// known columns are renamed, font formats mapped, a leading tilde in a font
// path expanded. A font row with a PostScript name but no path or format is
// logged and gives null.
cf::Ref<cf::Dictionary> QBFA_CopyDictFromRow(int columnCount, char** values, char** names);

#endif  // READER_RECORDS_H_
