#include <pugixml.hpp>

#include "bench/comparison_parsers.h"
#include "bench/sax_tree_builder.h"

namespace qbfa_bench {
namespace {

// Text as the platform keeps it: no end-of-line normalisation, white space
// kept, references decoded, CDATA sections as text, comments dropped.
constexpr unsigned kOptions = pugi::parse_escapes | pugi::parse_cdata | pugi::parse_ws_pcdata;

void Walk(const pugi::xml_node& element, SaxTreeBuilder* builder) {
  builder->StartElement(element.name());
  for (const pugi::xml_node& child : element.children()) {
    if (child.type() == pugi::node_element) {
      Walk(child, builder);
    } else if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata) {
      builder->Characters(child.value());
    }
  }
  builder->EndElement(element.name());
}

}  // namespace

cf::Ref<cf::Object> ParseWithPugixml(std::string_view xml) {
  pugi::xml_document document;
  if (!document.load_buffer(xml.data(), xml.size(), kOptions, pugi::encoding_utf8))
    return nullptr;
  SaxTreeBuilder builder(xml.size());
  Walk(document.document_element(), &builder);
  return builder.Finish();
}

}  // namespace qbfa_bench
