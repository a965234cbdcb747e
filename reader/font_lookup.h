// Looking one font id up in the table `fonts`.
#ifndef READER_FONT_LOOKUP_H_
#define READER_FONT_LOOKUP_H_

#include "platform/values.h"

// The complete font rows whose id is `fontID`, as font-info dictionaries in
// row order; null when there is none, when `fontID` is null or when `db` is
// closed (it never connects). The id is pasted into the statement unquoted,
// so an id with a single quote in it makes the statement fail (logged).
cf::Ref<cf::Array> QBFA_CreateArrayForFontsWithID(const cf::String* fontID);

// Row callback of the fonts query; `context` is the array being filled.
// Always returns 0.
int QBFA_GetFontInfoCallback(void* context, int columnCount, char** values, char** names);

#endif  // READER_FONT_LOOKUP_H_
