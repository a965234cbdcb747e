#include "reader/font_lookup.h"

#include <cstring>
#include <vector>

#include "hookwright/hkwprintf.h"
#include "platform/description.h"
#include "reader/records.h"
#include "state.h"

namespace {

// The id as a C string in a buffer of the platform's maximum UTF-8 size for
// its length: three bytes per UTF-16 unit, with no byte set aside for the
// terminating NUL. An id that needs all of them does not convert; the buffer
// then holds the empty string instead of an unterminated one. Empty when the
// size is zero, which stands for a buffer that could not be had.
std::vector<char> IDAsCString(const cf::String& fontID) {
  std::vector<char> buffer(3 * fontID.length(), '\0');
  const size_t size = fontID.utf8().size();
  if (size + 1 <= buffer.size())
    std::memcpy(buffer.data(), fontID.c_str(), size + 1);
  return buffer;
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
  cf::Ref<cf::Array> fonts = cf::Array::Create();
  if (!fonts)
    return nullptr;
  std::vector<char> idText = IDAsCString(*fontID);
  if (!idText.empty()) {
    char* errorText = nullptr;
    int rc =
        sqlite_exec_printf(db, "SELECT * FROM fonts WHERE id = '%s';", QBFA_GetFontInfoCallback,
                           static_cast<cf::Object*>(fonts.get()), &errorText, idText.data());
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
