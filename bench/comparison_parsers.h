// The publication parsed into the platform's values by XML libraries other
// than the platform's own reader, for parse_bench.cpp to compare them. Each
// gives the tree CFPropertyListCreateFromXMLData gives, for the valid
// documents a benchmark parses; none is hardened against hostile input.
#ifndef BENCH_COMPARISON_PARSERS_H_
#define BENCH_COMPARISON_PARSERS_H_

#include <string_view>

#include "platform/values.h"

namespace qbfa_bench {

// pugixml: the document's DOM first, then the tree from it.
cf::Ref<cf::Object> ParseWithPugixml(std::string_view xml);
// expat: its SAX events straight into values.
cf::Ref<cf::Object> ParseWithExpat(std::string_view xml);
// libxml2's xmlReader: its nodes, pulled one by one, straight into values.
cf::Ref<cf::Object> ParseWithLibxml2Reader(std::string_view xml);

}  // namespace qbfa_bench

#endif  // BENCH_COMPARISON_PARSERS_H_
