#include <expat.h>

#include <climits>

#include "bench/comparison_parsers.h"
#include "bench/sax_tree_builder.h"

namespace qbfa_bench {

cf::Ref<cf::Object> ParseWithExpat(std::string_view xml) {
  if (xml.size() > INT_MAX)
    return nullptr;
  SaxTreeBuilder builder(xml.size());
  XML_Parser parser = XML_ParserCreate("UTF-8");
  XML_SetUserData(parser, &builder);
  XML_SetElementHandler(
      parser,
      [](void* user, const XML_Char* name, const XML_Char**) {
        static_cast<SaxTreeBuilder*>(user)->StartElement(name);
      },
      [](void* user, const XML_Char* name) {
        static_cast<SaxTreeBuilder*>(user)->EndElement(name);
      });
  XML_SetCharacterDataHandler(parser, [](void* user, const XML_Char* text, int size) {
    static_cast<SaxTreeBuilder*>(user)->Characters({text, static_cast<size_t>(size)});
  });
  const bool parsed =
      XML_Parse(parser, xml.data(), static_cast<int>(xml.size()), true) == XML_STATUS_OK;
  XML_ParserFree(parser);
  return parsed ? builder.Finish() : nullptr;
}

}  // namespace qbfa_bench
