#include "sqlite2/sql/type_class.h"

#include <cstddef>

#include "sqlite2/sql/tokenizer.h"

namespace sqlite2::sql {
namespace {

bool IsSpace(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

// Compares up to three bytes of `z` from `pos` with the lower-case
// `word`, ignoring ASCII case and stopping early at a NUL in `z`.
bool MatchesTail(const std::string& z, size_t pos, std::string_view word) {
  for (size_t k = 0; k < word.size(); ++k) {
    const char c = z[pos + k];
    if (c == '\0')
      return false;
    if (!EqualsIgnoringCase(std::string_view(&c, 1), word.substr(k, 1)))
      return false;
  }
  return true;
}

}  // namespace

std::string SqueezeType(std::string_view declared) {
  std::string out;
  for (char c : declared) {
    if (!IsSpace(c))
      out.push_back(c);
  }
  return out;
}

bool IsTextType(std::string_view declared) {
  // The buffer as the library leaves it after squeezing in place: the
  // squeezed text, a NUL, then whatever of the original was not overwritten.
  const size_t n = declared.size();
  std::string z(declared);
  z.push_back('\0');
  const std::string squeezed = SqueezeType(declared);
  z.replace(0, squeezed.size() + 1, squeezed + '\0');
  for (size_t i = 0; i + 3 < n; ++i) {
    const char c = static_cast<char>(z[i] | 0x60);
    if ((c == 'b' || c == 'c') && MatchesTail(z, i + 1, "lob"))
      return true;
    if (c == 'c' && MatchesTail(z, i + 1, "har"))
      return true;
    if (c == 't' && MatchesTail(z, i + 1, "ext"))
      return true;
  }
  return false;
}

}  // namespace sqlite2::sql
