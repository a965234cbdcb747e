// How fast a listener turns the publication back into the set tree: the XML
// property list of a generated library of 1,000 to 80,000 fonts (the shape
// read_bench.cpp reads), parsed into the same tree by the platform's reader
// and, for comparison, by pugixml, expat, libxml2's xmlReader and libplist.
//
//   cmake -S . -B build/bench -DQBFA_BUILD_BENCH=ON
//   cmake --build build/bench --target qbfa_parse_bench
//   build/bench/bench/qbfa_parse_bench --benchmark_filter='/20000'
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <optional>
#include <string>

#include "bench/comparison_parsers.h"
#include "bench/libraries.h"
#include "hookwright/log.h"
#include "platform/values.h"
#include "platform/xml.h"
#include "tests/platform/libplist_oracle.h"

namespace {

struct Publication {
  std::string xml;
  cf::Ref<cf::Object> tree;  // as libplist reads it
};

// The XML the plug-in publishes for the benchmark library of `fonts` fonts
// (integer ids), made once.
const Publication& PublicationOf(int fonts) {
  static std::map<int, Publication> publications;
  Publication& publication = publications[fonts];
  if (!publication.xml.empty())
    return publication;
  const cf::Ref<cf::Array> sets =
      qbfa_bench::ReadSets(qbfa_bench::LibraryPath(fonts, qbfa_bench::FontIds::kIntegerPrimaryKey));
  std::optional<cf::Data> xml = CFPropertyListCreateXMLData(sets.get());
  if (!xml) {
    std::fprintf(stderr, "no publication for %d fonts\n", fonts);
    std::exit(1);
  }
  publication.xml = std::string(*xml);
  publication.tree = oracle::LibplistParse(publication.xml);
  return publication;
}

using Parse = cf::Ref<cf::Object> (*)(std::string_view);

void ParsePublication(benchmark::State& state, Parse parse) {
  const Publication& publication = PublicationOf(static_cast<int>(state.range(0)));
  if (!cf::Equal(parse(publication.xml).get(), publication.tree.get())) {
    state.SkipWithError("gives another tree than libplist");
    return;
  }
  for (auto _ : state) {
    cf::Ref<cf::Object> tree = parse(publication.xml);
    benchmark::DoNotOptimize(tree.get());
    // Freeing the tree is the listener's business, later.
    state.PauseTiming();
    tree = nullptr;
    state.ResumeTiming();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * publication.xml.size()));
  state.counters["xml_MB"] = static_cast<double>(publication.xml.size()) / 1e6;
  state.SetComplexityN(state.range(0));
}

cf::Ref<cf::Object> ParseWithTheReader(std::string_view xml) {
  return CFPropertyListCreateFromXMLData(xml);
}

}  // namespace

int main(int argc, char** argv) {
  hookwright::SetLogSink([](std::string_view) {});
  const std::pair<const char*, Parse> parsers[] = {
      {"Parse/reader", ParseWithTheReader},
      {"Parse/pugixml", qbfa_bench::ParseWithPugixml},
      {"Parse/expat", qbfa_bench::ParseWithExpat},
      {"Parse/libxml2_reader", qbfa_bench::ParseWithLibxml2Reader},
      {"Parse/libplist", oracle::LibplistParse},
  };
  for (const auto& [name, parse] : parsers) {
    benchmark::internal::Benchmark* b = benchmark::RegisterBenchmark(name, ParsePublication, parse);
    for (int size : qbfa_bench::kLibrarySizes)
      b->Arg(size);
    b->Unit(benchmark::kMillisecond)->Complexity(benchmark::oN);
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv))
    return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
