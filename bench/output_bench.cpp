// How fast `qbfa sets` turns a publication into text: the outline and the
// JSON of the tree a listener parses from the XML of 20,000 fonts (25 MB).
#include <benchmark/benchmark.h>

#include <string>

#include "bench/libraries.h"
#include "cli/set_tree_text.h"
#include "platform/xml.h"

namespace {

const cf::Object* PublishedTree() {
  static const cf::Ref<cf::Object> tree = [] {
    const cf::Ref<cf::Array> sets = qbfa_bench::ReadSets(
        qbfa_bench::LibraryPath(20000, qbfa_bench::FontIds::kIntegerPrimaryKey));
    return CFPropertyListCreateFromXMLData(
        CFPropertyListCreateXMLData(sets.get()).value_or(cf::Data()));
  }();
  return tree.get();
}

void Print(benchmark::State& state, std::string (*print)(const cf::Object*)) {
  const cf::Object* tree = PublishedTree();
  size_t bytes = 0;
  for (auto _ : state) {
    const std::string text = print(tree);
    bytes = text.size();
    benchmark::DoNotOptimize(text.data());
  }
  state.counters["text_MB"] = static_cast<double>(bytes) / 1e6;
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}

BENCHMARK_CAPTURE(Print, outline, SetTreeText)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Print, json, PropertyListJson)->Unit(benchmark::kMillisecond);

}  // namespace
