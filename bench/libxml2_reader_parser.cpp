#include <libxml/xmlreader.h>

#include <climits>

#include "bench/comparison_parsers.h"
#include "bench/sax_tree_builder.h"

namespace qbfa_bench {
namespace {

std::string_view View(const xmlChar* text) {
  return text == nullptr ? std::string_view() : reinterpret_cast<const char*>(text);
}

}  // namespace

cf::Ref<cf::Object> ParseWithLibxml2Reader(std::string_view xml) {
  if (xml.size() > INT_MAX)
    return nullptr;
  xmlTextReaderPtr reader = xmlReaderForMemory(xml.data(), static_cast<int>(xml.size()), nullptr,
                                               "UTF-8", XML_PARSE_NONET | XML_PARSE_COMPACT);
  if (reader == nullptr)
    return nullptr;
  SaxTreeBuilder builder(xml.size());
  int status;
  while ((status = xmlTextReaderRead(reader)) == 1) {
    switch (xmlTextReaderNodeType(reader)) {
      case XML_READER_TYPE_ELEMENT: {
        const std::string_view name = View(xmlTextReaderConstLocalName(reader));
        builder.StartElement(name);
        if (xmlTextReaderIsEmptyElement(reader))
          builder.EndElement(name);
        break;
      }
      case XML_READER_TYPE_END_ELEMENT:
        builder.EndElement(View(xmlTextReaderConstLocalName(reader)));
        break;
      case XML_READER_TYPE_TEXT:
      case XML_READER_TYPE_CDATA:
      case XML_READER_TYPE_SIGNIFICANT_WHITESPACE:
      case XML_READER_TYPE_WHITESPACE:
        builder.Characters(View(xmlTextReaderConstValue(reader)));
        break;
      default:
        break;
    }
  }
  xmlFreeTextReader(reader);
  return status == 0 ? builder.Finish() : nullptr;
}

}  // namespace qbfa_bench
