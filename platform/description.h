// Text descriptions of values, as the platform prints objects for "%@" and
// CFShow: a string as itself, a URL as its file:// string, a boolean as 1 or
// 0, arrays and dictionaries in the old-style property-list form over several
// lines (four spaces of indent per level, dictionary keys sorted, strings
// quoted when empty or holding anything but letters, digits and "_$./:-"),
// and a null as "(null)". Inside quotes, '"' and '\\' are escaped, control
// characters as "\n", "\t" and the like, anything past ASCII as UTF-16 units
// ("\U00e9"). A nested collection's opening bracket carries its own level's
// indent even after "key = ", as the platform prints it:
//   {
//       Fonts =     (
//                   {
//               kQBFontInfoFamilyName = Helvetica;
//           }
//       );
//   }
// A collection met again inside itself prints as "(...)" or "{...}".
#ifndef PLATFORM_DESCRIPTION_H_
#define PLATFORM_DESCRIPTION_H_

#include <string>

#include "platform/values.h"

namespace cf {

std::string Describe(const Object* object);

// Lets hkwprintf's %@ take values and references to them.
inline std::string HookwrightDescribe(const Object* object) {
  return Describe(object);
}
template <class T>
std::string HookwrightDescribe(const Ref<T>& object) {
  return Describe(object.get());
}

}  // namespace cf

// Writes the description and a line end to the log sink, in one piece.
void CFShow(const cf::Object* object);
template <class T>
void CFShow(const cf::Ref<T>& object) {
  CFShow(static_cast<const cf::Object*>(object.get()));
}

#endif  // PLATFORM_DESCRIPTION_H_
