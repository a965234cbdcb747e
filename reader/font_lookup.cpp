#include "reader/font_lookup.h"

#include "hookwright/hkwprintf.h"
#include "platform/description.h"
#include "reader/records.h"
#include "state.h"

namespace {

// The id as a C string, as converting it into a buffer of the platform's
// maximum UTF-8 size for its length gives it: three bytes per UTF-16 unit,
// with no byte set aside for the terminating NUL. An id that needs all of
// them does not convert and reads as the empty string instead of an
// unterminated one. Null when that size is zero, which stands for a buffer
// that could not be had. The string's own text is already NUL-terminated, so
// no buffer is needed to hand it on.
const char* IDAsCString(const cf::String& fontID) {
  const size_t room = 3 * fontID.length();
  if (room == 0)
    return nullptr;
  return fontID.utf8().size() + 1 <= room ? fontID.c_str() : "";
}

}  // namespace

int QBFA_GetFontInfoCallback(void* context, int columnCount, char** values, char** names) {
  cf::Array* fonts = context != nullptr ? static_cast<cf::Object*>(context)->AsArray() : nullptr;
  if (fonts == nullptr)
    return 0;
  if (cf::Ref<cf::Dictionary> font = QBFA_CopyDictFromRow(columnCount, values, names)) {
    fonts->Append(std::move(font));
  }
  return 0;
}

cf::Ref<cf::Array> QBFA_CreateArrayForFontsWithID(const cf::String* fontID) {
  if (db == nullptr || fontID == nullptr)
    return nullptr;
  // An id names one row nearly always.
  cf::Ref<cf::Array> fonts = cf::Array::Create(1);
  if (!fonts)
    return nullptr;
  if (const char* idText = IDAsCString(*fontID)) {
    char* errorText = nullptr;
    int rc =
        sqlite_exec_printf(db, "SELECT * FROM fonts WHERE id = '%s';", QBFA_GetFontInfoCallback,
                           static_cast<cf::Object*>(fonts.get()), &errorText, idText);
    if (rc != SQLITE_OK) {
      if (errorText != nullptr) {
        hkwprintf("Unable to find font with ID %@ error %d: %s\n", fontID, rc, errorText);
      } else {
        hkwprintf("Unable to find font with ID %@ error %d\n", fontID, rc);
      }
    }
    sqlite_freemem(errorText);
  }
  if (fonts->empty())
    return nullptr;
  return fonts;
}
