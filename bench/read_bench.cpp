// How long the plug-in takes, and how much memory it needs, to read a font
// manager's library: the whole start-up read, the XML the tree is published
// as, one publication, and one font lookup. Libraries of 1,000 to 80,000 fonts, about one set
// per 20 fonts nested three deep, each font in two sets; fonts.id either an
// INTEGER PRIMARY KEY (lookups seek by rowid) or TEXT without an index
// (lookups use an automatic index).
//
//   cmake -S . -B build/bench -DQBFA_BUILD_BENCH=ON
//   cmake --build build/bench --target qbfa_bench && build/bench/bench/qbfa_bench
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <string>
#include <utility>

#include "bench/heap_counter.h"
#include "bench/libraries.h"
#include "hookwright/log.h"
#include "platform/values.h"
#include "platform/xml.h"
#include "sqlite2/sqlite.h"
#include "tests/support/session_bus.h"
#include "tests/support/temporary_home.h"
#include "watch/broadcast.h"

namespace {

using qbfa_bench::FontIds;

struct Library {
  std::string path;
  double file_bytes = 0;
};

const Library& LibraryOf(int fonts, FontIds ids) {
  static std::map<std::pair<int, FontIds>, Library> libraries;
  Library& library = libraries[{fonts, ids}];
  if (library.path.empty()) {
    library.path = qbfa_bench::LibraryPath(fonts, ids);
    library.file_bytes = static_cast<double>(std::filesystem::file_size(library.path));
  }
  return library;
}

cf::Ref<cf::Array> ReadSets(const Library& library) {
  return qbfa_bench::ReadSets(library.path);
}

// The heap the read needs at its peak, and what the tree keeps, measured in
// one read of its own so that counting does not slow the timed ones.
void MeasureMemory(const Library& library, size_t* peak, size_t* tree) {
  qbfa_bench::CountHeapBytes(true);
  cf::Ref<cf::Array> sets = ReadSets(library);
  *tree = qbfa_bench::LiveHeapBytes();
  *peak = qbfa_bench::PeakHeapBytes();
  qbfa_bench::CountHeapBytes(false);
}

void WholeRead(benchmark::State& state, FontIds ids) {
  const Library& library = LibraryOf(static_cast<int>(state.range(0)), ids);
  for (auto _ : state) {
    cf::Ref<cf::Array> sets = ReadSets(library);
    benchmark::DoNotOptimize(sets.get());
    state.PauseTiming();
    sets = nullptr;
    state.ResumeTiming();
  }
  size_t peak = 0, tree = 0;
  MeasureMemory(library, &peak, &tree);
  state.counters["file_MB"] = library.file_bytes / 1e6;
  state.counters["tree_MB"] = static_cast<double>(tree) / 1e6;
  state.counters["peak_MB"] = static_cast<double>(peak) / 1e6;
  // The target: below 1.
  state.counters["peak_vs_2file+tree"] =
      static_cast<double>(peak) / (2 * library.file_bytes + static_cast<double>(tree));
  state.SetComplexityN(state.range(0));
}

void Serialise(benchmark::State& state, FontIds ids) {
  const cf::Ref<cf::Array> sets = ReadSets(LibraryOf(static_cast<int>(state.range(0)), ids));
  size_t bytes = 0;
  for (auto _ : state) {
    std::optional<cf::Data> xml = CFPropertyListCreateXMLData(sets.get());
    bytes = xml ? xml->size() : 0;
    benchmark::DoNotOptimize(xml);
  }
  state.counters["xml_MB"] = static_cast<double>(bytes) / 1e6;
  state.SetComplexityN(state.range(0));
}

// The broadcast: the XML onto the pasteboard and the two signals, on a
// private home and session bus.
void Publish(benchmark::State& state, FontIds ids) {
  static qbfa_test::TemporaryHome home;
  static qbfa_test::PrivateSessionBus bus;
  if (!bus.running()) {
    state.SkipWithError(bus.error().c_str());
    return;
  }
  const cf::Ref<cf::Array> sets = ReadSets(LibraryOf(static_cast<int>(state.range(0)), ids));
  for (auto _ : state) {
    const OSStatus status = QBFA_NotificateAllOfSetChange(sets.get(), "qbfa.bench.pasteboard",
                                                          "qbfa.bench.fontsetsupdated");
    if (status != noErr) {
      state.SkipWithError("the broadcast failed");
      break;
    }
  }
  state.SetComplexityN(state.range(0));
}

// The refresh's comparison when nothing changed: two trees read apart from
// one library, equal all through, which is the most the comparison can cost.
void Compare(benchmark::State& state, FontIds ids) {
  const Library& library = LibraryOf(static_cast<int>(state.range(0)), ids);
  const cf::Ref<cf::Array> old_sets = ReadSets(library);
  const cf::Ref<cf::Array> new_sets = ReadSets(library);
  for (auto _ : state) {
    if (!cf::Equal(old_sets.get(), new_sets.get())) {
      state.SkipWithError("the trees differ");
      break;
    }
  }
  state.SetComplexityN(state.range(0));
}

// The release of a tree that a refresh replaced (or found equal).
void Release(benchmark::State& state, FontIds ids) {
  const Library& library = LibraryOf(static_cast<int>(state.range(0)), ids);
  for (auto _ : state) {
    state.PauseTiming();
    cf::Ref<cf::Array> sets = ReadSets(library);
    state.ResumeTiming();
    sets = nullptr;
  }
  state.SetComplexityN(state.range(0));
}

int CountRow(void* rows, int, char**, char**) {
  ++*static_cast<int*>(rows);
  return 0;
}

// One "SELECT * FROM fonts WHERE id = '<id>';" for a font in the middle.
void LookUp(sqlite* handle, int fonts) {
  int rows = 0;
  const std::string id = std::to_string(fonts / 2);
  sqlite_exec_printf(handle, "SELECT * FROM fonts WHERE id = '%s';", CountRow, &rows, nullptr,
                     id.c_str());
  if (rows != 1)
    std::fprintf(stderr, "font %s: %d rows\n", id.c_str(), rows);
}

// A lookup on its own: with TEXT ids nothing but a scan can answer it.
void SingleLookup(benchmark::State& state, FontIds ids) {
  const int fonts = static_cast<int>(state.range(0));
  sqlite* handle = sqlite_open(LibraryOf(fonts, ids).path.c_str(), 0, nullptr);
  for (auto _ : state)
    LookUp(handle, fonts);
  sqlite_close(handle);
  state.SetComplexityN(state.range(0));
}

// A lookup as the plug-in makes it, inside the scan of another table under
// the same lock, after the first (which builds the automatic index with TEXT ids).
void NestedLookup(benchmark::State& state, FontIds ids) {
  const int fonts = static_cast<int>(state.range(0));
  sqlite* handle = sqlite_open(LibraryOf(fonts, ids).path.c_str(), 0, nullptr);
  struct Context {
    benchmark::State* state;
    sqlite* handle;
    int fonts;
  } context{&state, handle, fonts};
  sqlite_exec(
      handle, "SELECT 1;",
      [](void* arg, int, char**, char**) {
        auto* c = static_cast<Context*>(arg);
        LookUp(c->handle, c->fonts);
        for (auto _ : *c->state)
          LookUp(c->handle, c->fonts);
        return 0;
      },
      &context, nullptr);
  sqlite_close(handle);
  state.SetComplexityN(state.range(0));
}

void Register(const char* name, void (*run)(benchmark::State&, FontIds)) {
  for (FontIds ids : {FontIds::kIntegerPrimaryKey, FontIds::kTextWithoutIndex}) {
    const std::string full =
        std::string(name) + (ids == FontIds::kIntegerPrimaryKey ? "/integer_ids" : "/text_ids");
    benchmark::internal::Benchmark* b = benchmark::RegisterBenchmark(full.c_str(), run, ids);
    for (int size : qbfa_bench::kLibrarySizes)
      b->Arg(size);
    b->Unit(benchmark::kMillisecond)->Complexity(benchmark::oN);
  }
}

}  // namespace

int main(int argc, char** argv) {
  // Whatever the reader logs is not part of what is measured here.
  hookwright::SetLogSink([](std::string_view) {});
  Register("WholeRead", WholeRead);
  Register("Serialise", Serialise);
  Register("Publish", Publish);
  Register("Compare", Compare);
  Register("Release", Release);
  Register("SingleLookup", SingleLookup);
  Register("NestedLookup", NestedLookup);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv))
    return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
