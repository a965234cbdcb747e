// The whole system as a user sees it, in real processes: `qbfa host` with the
// plug-in on a private session bus and a throw-away home (log switch on),
// the font manager writing its database in place, front-application switches
// sent as `qbfa switch` sends them, and a listener in this process.
//
//   qbfa_whole_bench [--sizes 1000,5000] [--repetitions N] [--refreshes N]
//                    [--memory-fonts N] change|unchanged|memory|processes...
//
//   change     a changed database written, the sets marked stale, a switch,
//              until the listener holds the new tree; and the parts
//   unchanged  the same bytes written again, a switch, until the host finds
//              the sets equal
//   memory     the host's resident memory after the first publication and
//              after many refreshes with changes
//   processes  `qbfa read FILE`, `qbfa sets --format json` and `qbfa sets`
//              as whole processes: wall time and peak resident memory
//
// Each runs on the bundled sample (FontAgent.db and FontAgent-2.db) and on
// generated libraries of every size in both schemas (seeds 1 and 2 as the two
// versions). Prints Markdown tables; times in ms as min / median / max.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/heap_counter.h"
#include "bench/libraries.h"
#include "bench/spread.h"
#include "bench/system_rig.h"
#include "bench/timed_process.h"
#include "hookwright/log.h"
#include "platform/xml.h"
#include "tests/support/file_text.h"

namespace {

using qbfa_bench::Clock;
using qbfa_bench::Samples;
using qbfa_bench::SystemRig;

const std::string kQbfa = QBFA_BINARY_DIR "/cli/qbfa";
// Past glibc's small requests, which never merge freed blocks.
constexpr size_t kLargeRequest = 1 << 20;

// A library and a later version of it.
struct Library {
  std::string name;
  std::string versions[2];  // paths
};

struct Options {
  std::vector<int> sizes{1000, 5000, 20000, 80000};
  int repetitions = 5;
  int refreshes = 100;
  int memory_fonts = 20000;
};

double Megabytes(double bytes) {
  return bytes / 1e6;
}

// What the host should publish for `path`, read in this process: its HOME
// must be the host's, since the reader expands "~" in font paths.
std::string PublicationOf(const std::string& path) {
  return std::string(
      CFPropertyListCreateXMLData(qbfa_bench::ReadSets(path).get()).value_or(cf::Data()));
}

void Row(const std::vector<std::string>& cells) {
  std::string line = "|";
  for (const std::string& cell : cells)
    line += " " + cell + " |";
  std::printf("%s\n", line.c_str());
  std::fflush(stdout);
}

std::string Number(double value, int decimals = 1) {
  char text[32];
  std::snprintf(text, sizeof text, "%.*f", decimals, value);
  return text;
}

void Header(const std::vector<std::string>& cells) {
  std::printf("\n");
  Row(cells);
  Row(std::vector<std::string>(cells.size(), "---"));
}

void MeasureChange(const Library& library, const Options& options) {
  const std::string bytes[2] = {qbfa_test::FileText(library.versions[0]),
                                qbfa_test::FileText(library.versions[1])};
  SystemRig rig(bytes[0]);
  const std::string expected[2] = {PublicationOf(library.versions[0]),
                                   PublicationOf(library.versions[1])};
  Samples total, stale, published, parsed, to_updating, updating_to_notified;
  for (int i = 0; i < options.repetitions; ++i) {
    // The last tree's small blocks, freed at the end of the last round, are
    // merged by glibc at the next large allocation. A listener of its own
    // meets that allocation as it reads the next publication; here sending
    // the switch would, and its time (up to a second at 80,000 fonts) would
    // count as the switch's. So they are merged now, untimed, by a large
    // request that the memory freed can serve.
    void* volatile merge = std::malloc(kLargeRequest);  // volatile: kept by the compiler
    std::free(merge);
    const int version = (i + 1) % 2;
    const qbfa_bench::Write write = rig.WriteDatabase(bytes[version]);
    const size_t from = rig.host().LineCount();
    const Clock::time_point switched = rig.Switch();
    const Clock::time_point notified = rig.AwaitPublication();
    const cf::Data xml = rig.ReadPasteboard();
    const cf::Ref<cf::Object> tree = CFPropertyListCreateFromXMLData(xml);
    const Clock::time_point held = Clock::now();
    if (!tree || xml != expected[version])
      throw std::runtime_error("the listener did not get the new sets of " + library.name);
    const Clock::time_point updating = rig.host().Await("[QB] Updating font sets", from).at;
    total.Add(held - write.began);
    stale.Add(write.stale - write.began);
    published.Add(notified - switched);
    parsed.Add(held - notified);
    to_updating.Add(updating - switched);
    updating_to_notified.Add(rig.host().Await("[QB] Notified!", from).at - updating);
  }
  Row({library.name, Number(Megabytes(static_cast<double>(expected[0].size())), 2), total.Spread(),
       stale.Spread(), published.Spread(), to_updating.Spread(), updating_to_notified.Spread(),
       parsed.Spread()});
}

void MeasureUnchanged(const Library& library, const Options& options) {
  const std::string bytes = qbfa_test::FileText(library.versions[0]);
  SystemRig rig(bytes);
  const std::string startup = rig.host().Await("[QB] Operation took", 0).text;
  Samples whole, to_updating, read;
  for (int i = 0; i < options.repetitions; ++i) {
    rig.WriteDatabase(bytes);
    const size_t from = rig.host().LineCount();
    const Clock::time_point switched = rig.Switch();
    const Clock::time_point equal =
        rig.host().Await("[QB] Old sets and new sets are equal. Bummers.", from).at;
    const Clock::time_point updating = rig.host().Await("[QB] Updating font sets", from).at;
    whole.Add(equal - switched);
    to_updating.Add(updating - switched);
    read.Add(equal - updating);
  }
  Row({library.name, whole.Spread(), to_updating.Spread(), read.Spread(),
       startup.substr(startup.find("took ") + 5)});
}

// A field of /proc/PID/status in MB ("VmRSS:   12345 kB").
double StatusMegabytes(pid_t pid, const std::string& field) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(field + ":"))
      return std::stod(line.substr(field.size() + 1)) * 1024 / 1e6;
  }
  throw std::runtime_error("no " + field + " for process " + std::to_string(pid));
}

void MeasureMemory(const Library& library, const Options& options) {
  // Measured before the host starts: the heap counter counts on one thread.
  qbfa_bench::CountHeapBytes(true);
  const cf::Ref<cf::Array> sets = qbfa_bench::ReadSets(library.versions[0]);
  const double tree_bytes = static_cast<double>(qbfa_bench::LiveHeapBytes());
  qbfa_bench::CountHeapBytes(false);
  const size_t xml_bytes = CFPropertyListCreateXMLData(sets.get()).value_or(cf::Data()).size();

  const std::string bytes[2] = {qbfa_test::FileText(library.versions[0]),
                                qbfa_test::FileText(library.versions[1])};
  SystemRig rig(bytes[0]);
  const pid_t host = rig.host().pid();
  const double rss_first = StatusMegabytes(host, "VmRSS"),
               hwm_first = StatusMegabytes(host, "VmHWM");
  for (int i = 1; i <= options.refreshes; ++i) {
    rig.WriteDatabase(bytes[i % 2]);
    const size_t from = rig.host().LineCount();
    rig.Switch();
    rig.AwaitPublication();
    // The signals go out before the refresh has let go of its XML: what the
    // host holds is measured once it has handled the switch.
    rig.host().Await("qbfa host: front application switched", from);
  }
  Row({library.name, std::to_string(options.refreshes), Number(rss_first), Number(hwm_first),
       Number(StatusMegabytes(host, "VmRSS")), Number(StatusMegabytes(host, "VmHWM")),
       Number(Megabytes(tree_bytes)), Number(Megabytes(static_cast<double>(xml_bytes))),
       Number(Megabytes(tree_bytes + static_cast<double>(xml_bytes)))});
}

void MeasureProcesses(const Library& library, const Options& options) {
  const std::string& path = library.versions[0];
  SystemRig rig(qbfa_test::FileText(path));
  std::vector<std::string> cells{
      library.name, Number(Megabytes(static_cast<double>(std::filesystem::file_size(path))), 2)};
  const std::vector<std::vector<std::string>> commands{
      {kQbfa, "read", path}, {kQbfa, "sets", "--format", "json"}, {kQbfa, "sets"}};
  for (const std::vector<std::string>& command : commands) {
    Samples wall, peak;
    for (int i = 0; i < options.repetitions; ++i) {
      const qbfa_bench::ProcessCost cost = qbfa_bench::RunToEnd(command);
      wall.Add(cost.seconds * 1000);
      peak.Add(cost.peak_rss_mb);
    }
    cells.push_back(wall.Spread());
    cells.push_back(Number(peak.Median()));
  }
  Row(cells);
}

struct Measure {
  std::vector<std::string> header;
  std::function<void(const Library&, const Options&)> run;
  bool every_library;  // else only the generated library of memory_fonts
};

const std::map<std::string, Measure>& Measures() {
  static const std::map<std::string, Measure> measures{
      {"change",
       {{"library", "XML MB", "total", "write -> stale", "switch -> 2nd notification",
         "(host: switch -> re-read)", "(host: re-read -> notified)", "notification -> tree"},
        MeasureChange,
        true}},
      {"unchanged",
       {{"library", "switch -> equal", "switch -> re-read", "re-read -> equal",
         "start-up read (host's log)"},
        MeasureUnchanged,
        true}},
      {"memory",
       {{"library", "refreshes", "VmRSS first MB", "VmHWM first MB", "VmRSS last MB",
         "VmHWM last MB", "tree MB", "XML MB", "tree + XML MB"},
        MeasureMemory,
        false}},
      {"processes",
       {{"library", "file MB", "read ms", "read peak MB", "sets json ms", "sets json peak MB",
         "sets tree ms", "sets tree peak MB"},
        MeasureProcesses,
        true}},
  };
  return measures;
}

std::vector<Library> Libraries(const Options& options, bool every_library) {
  std::vector<Library> libraries;
  if (every_library) {
    libraries.push_back(
        {"sample",
         {QBFA_SOURCE_DIR "/sample/FontAgent.db", QBFA_SOURCE_DIR "/sample/FontAgent-2.db"}});
  }
  const std::vector<int> sizes =
      every_library ? options.sizes : std::vector<int>{options.memory_fonts};
  for (int fonts : sizes) {
    for (qbfa_bench::FontIds ids :
         {qbfa_bench::FontIds::kIntegerPrimaryKey, qbfa_bench::FontIds::kTextWithoutIndex}) {
      if (!every_library && ids != qbfa_bench::FontIds::kIntegerPrimaryKey)
        continue;
      libraries.push_back(
          {std::to_string(fonts) + " " + qbfa_bench::IdsName(ids),
           {qbfa_bench::LibraryPath(fonts, ids, 1), qbfa_bench::LibraryPath(fonts, ids, 2)}});
    }
  }
  return libraries;
}

}  // namespace

int main(int argc, char** argv) {
  if (int launched = qbfa_bench::LaunchTimed(argc, argv); launched >= 0)
    return launched;
  CLI::App app("Times the whole system in real processes");
  Options options;
  std::vector<std::string> chosen;
  app.add_option("--sizes", options.sizes, "Generated library sizes, in fonts")->delimiter(',');
  app.add_option("--repetitions", options.repetitions, "Runs of each measurement");
  app.add_option("--refreshes", options.refreshes, "Refreshes of the memory measurement");
  app.add_option("--memory-fonts", options.memory_fonts, "Library size of the memory measurement");
  app.add_option("measures", chosen, "change, unchanged, memory, processes")
      ->required()
      ->check(CLI::IsMember({"change", "unchanged", "memory", "processes"}));
  CLI11_PARSE(app, argc, argv);

  // The reads made here to know what the host should publish log nothing.
  hookwright::SetLogSink([](std::string_view) {});
  try {
    for (const std::string& name : chosen) {
      const Measure& measure = Measures().at(name);
      std::printf("\n### %s\n", name.c_str());
      Header(measure.header);
      for (const Library& library : Libraries(options, measure.every_library)) {
        std::fprintf(stderr, "%s: %s\n", name.c_str(), library.name.c_str());
        measure.run(library, options);
      }
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "qbfa_whole_bench: %s\n", error.what());
    return 1;
  }
  return 0;
}
