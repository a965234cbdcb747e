// The property-list writer and XML reader the project used before it wrote
// and parsed XML itself, both built on libplist. Kept as oracles: whatever
// our own writer and parser do, these say what the bytes and the trees must be.
#ifndef TESTS_PLATFORM_LIBPLIST_ORACLE_H_
#define TESTS_PLATFORM_LIBPLIST_ORACLE_H_

#include <optional>
#include <string>
#include <string_view>

#include "platform/values.h"

namespace oracle {

// The XML that libplist writes for `root`, with the same refusals as ours:
// nothing for null, a URL, a cycle, U+0000, a key that is not UTF-8, nesting
// past cf::kMaxPropertyListDepth or a document of more than kMaxNodes nodes.
std::optional<std::string> LibplistXml(const cf::Object* root);

// The tree libplist reads from an XML property list, or null.
cf::Ref<cf::Object> LibplistParse(std::string_view xml);

// Documents with more nodes than this, shared children written out in full,
// are refused.
inline constexpr size_t kMaxNodes = 8 * 1024 * 1024;

}  // namespace oracle

#endif  // TESTS_PLATFORM_LIBPLIST_ORACLE_H_
