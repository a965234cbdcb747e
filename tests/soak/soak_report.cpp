// The figures of a soak and its verdict, as a person reads them.
#include <cstdio>
#include <string>

#include "tests/soak/soak.h"

namespace qbfa_soak {
namespace {

std::string Format(const char* format, auto... values) {
  char text[256];
  std::snprintf(text, sizeof text, format, values...);
  return text;
}

std::string MiB(size_t kb) {
  return Format("%.1f MiB", static_cast<double>(kb) / 1024);
}

std::string Row(const char* name, const std::string& figures) {
  return Format("  %-18s", name) + figures + "\n";
}

std::string MemoryFigures(const SoakReport& report) {
  if (!report.host_at_start || !report.host_at_end)
    return "not measured";
  std::string text = MiB(report.host_at_start->resident_kb) + " at start, " +
                     MiB(report.host_at_end->resident_kb) + " at end, peak " +
                     MiB(report.host_at_end->peak_resident_kb) + " (VmHWM)";
  if (report.flatness) {
    const size_t second = report.flatness->second.peak_resident_kb;
    text += "; peak of the second quarter " + MiB(second) + ", of the last " +
            MiB(report.flatness->last.peak_resident_kb) +
            (report.memory_judged ? " (at most " + MiB(second + MemoryMarginKb(second)) + ")"
                                  : " (not judged: the sanitizer's quarantine grows)");
  }
  return text;
}

std::string DescriptorFigures(const SoakReport& report) {
  if (!report.host_at_start || !report.host_at_end)
    return "not measured";
  std::string text = std::to_string(report.host_at_start->descriptors) + " at start, " +
                     std::to_string(report.host_at_end->descriptors) + " at end";
  if (report.flatness) {
    text += "; fewest in the second quarter " +
            std::to_string(report.flatness->second.fewest_descriptors) + ", in the last " +
            std::to_string(report.flatness->last.fewest_descriptors);
  }
  return text;
}

}  // namespace

std::string FormatSoakReport(const SoakReport& report) {
  const HostLogTally& log = report.host_log;
  std::string text =
      Format("qbfa soak: %.1f s, %s build\n", std::chrono::duration<double>(report.ran).count(),
             report.build.c_str());
  text += Row("library",
              Format("%zu fonts in %zu sets: a file of %zu pages, a tree of %zu KiB", report.fonts,
                     report.sets, report.database_pages, report.tree_bytes / 1024));
  text += Row("transactions",
              Format("%zu committed, %zu fonts moved; the writer tried again "
                     "%zu times while the host read",
                     report.transactions, report.fonts_moved, report.writer_busy_retries));
  text += Row("switches",
              Format("%zu sent, %zu handled by the host", report.switches_sent, log.switches));
  text += Row("refreshes", Format("%zu: %zu found the sets unchanged, %zu statements gave up "
                                  "on a locked database",
                                  log.refreshes, log.equal_reads, log.locked_reads));
  text += Row("publications",
              Format("%zu by the host; the listener read %zu: %zu committed states, %zu sets "
                     "without links after a locked read, %zu reads of an emptied pasteboard",
                     log.publications, report.listener_publications, report.matched_publications,
                     report.partial_publications, report.empty_reads));
  text += Row("final state", !report.final_state_checked ? "not reached: the run stopped early"
                             : report.final_state_published
                                 ? "published at the switch after the last commit"
                                 : "not published");
  text += Row("host memory", MemoryFigures(report));
  text += Row("host descriptors", DescriptorFigures(report));
  text += Row("host exit status", std::to_string(report.host_exit_status));
  if (report.passed())
    return text + "qbfa soak: passed\n";
  text += "qbfa soak: FAILED\n";
  for (const std::string& failure : report.failures)
    text += "  - " + failure + "\n";
  return text;
}

}  // namespace qbfa_soak
