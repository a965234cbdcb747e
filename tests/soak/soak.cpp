#include "tests/soak/soak.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <stdexcept>
#include <string_view>
#include <thread>

#include "host/front_switch_signal.h"
#include "sqlite2/format/page.h"
#include "tests/sqlite2_writer/journaled_rewrite.h"
#include "tests/soak/committed_states.h"
#include "tests/soak/font_moves.h"
#include "tests/soak/listener_process.h"
#include "tests/soak/published_tree.h"
#include "tests/soak/switch_metronome.h"
#include "tests/support/host_session.h"
#include "tests/support/watched_file.h"

namespace qbfa_soak {
namespace {

using Clock = std::chrono::steady_clock;
using qbfa_test::LoggedHost;

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kAddressSanitizer = true;
#else
constexpr bool kAddressSanitizer = false;
#endif
// The sanitizers every program of this build has, as CMake was given them.
constexpr std::string_view kSanitizers = QBFA_SANITIZE;

constexpr std::chrono::milliseconds kSwitchPeriod(20);
// Gaps between transactions, drawn evenly from this range around the
// switches' period: several commits may fall between two switches, several
// switches between two commits, and some commits come while the host reads.
constexpr int kShortestGapMs = 5;
constexpr int kLongestGapMs = 95;
constexpr uint32_t kMostMovesPerTransaction = 3;
constexpr std::chrono::milliseconds kSamplePeriod(100);
// How long the writer sleeps when the host holds its read lock, as the
// library's busy handler sleeps before it tries again.
constexpr std::chrono::milliseconds kBusyRetry(1);
constexpr std::chrono::seconds kProgressPeriod(60);
// Longer than anything takes on a loaded machine; reached only when
// something is stuck.
constexpr std::chrono::seconds kPatience(60);

// A library of about 30 pages: its tables span several b-tree pages, so a
// move rewrites some of them and leaves the others.
qbfa_test::FontDatabaseShape SoakLibraryShape(uint32_t seed) {
  qbfa_test::FontDatabaseShape shape;
  shape.font_count = 120;
  shape.fonts_per_set = 12;
  shape.nesting_depth = 3;
  shape.sets_per_font = 2;
  shape.seed = seed;
  return shape;
}

std::string_view AsText(const std::vector<uint8_t>& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

class Soak {
 public:
  explicit Soak(const SoakOptions& options)
      : options_(options),
        moves_(qbfa_test::GenerateFontLibrary(SoakLibraryShape(options.seed)), options.seed),
        random_(options.seed),
        session_(options.qbfa, AsText(LibraryImage(moves_.library()))),
        scratch_(session_.home().root() + "/expected.db"),
        began_(Clock::now()) {}

  SoakReport Run();

 private:
  void Start();
  void Churn();
  void Finish();
  void Stop();
  void Judge();

  void CommitTransaction();
  void TakeSample();
  void TallyHostLog();
  void TakePublications(Clock::time_point until);
  void CheckPublication(std::string publication);
  void AwaitQuiet();
  void ReportProgress();
  void Fail(std::string why) { report_.failures.push_back(std::move(why)); }
  bool Failing() const { return !report_.failures.empty() || report_.host_log.fault_count > 0; }
  // Writes `text` where it outlives the run; says where, for a message.
  std::string KeepEvidence(const std::string& name, const std::string& text);

  SoakOptions options_;
  FontMoves moves_;
  std::mt19937 random_;
  qbfa_test::HostSession session_;
  std::string scratch_;
  CommittedStates states_;
  // What a read publishes when the relationships were locked: the sets, all
  // at the top, without fonts or children. The sets never change here, so
  // it is one tree.
  std::string unlinked_tree_;
  std::optional<ListenerProcess> listener_;
  std::optional<SwitchMetronome> metronome_;
  LoggedHost* host_ = nullptr;
  size_t log_cursor_ = 0;
  std::string last_publication_;
  std::vector<UsageSample> samples_;
  Clock::time_point began_;
  std::string evidence_;
  SoakReport report_;
};

SoakReport Soak::Run() {
  report_.build = kSanitizers.empty() ? "plain" : "-fsanitize=" + std::string(kSanitizers);
  report_.memory_judged = !kAddressSanitizer;
  try {
    Start();
    Churn();
    if (!Failing())
      Finish();
  } catch (const std::exception& error) {
    Fail(error.what());
  }
  Stop();
  Judge();
  report_.ran = Clock::now() - began_;
  return report_;
}

void Soak::Start() {
  const std::vector<uint8_t> image = LibraryImage(moves_.library());
  states_.Add(PublishedTree(image, scratch_));
  report_.fonts = moves_.library().fonts.size();
  report_.sets = moves_.library().sets.size();
  report_.database_pages = image.size() / sqlite2::format::kPageSize;
  report_.tree_bytes = states_.newest().size();
  qbfa_test::FontLibrary unlinked = moves_.library();
  unlinked.relationships.clear();
  unlinked_tree_ = PublishedTree(LibraryImage(unlinked), scratch_);

  // Started before the host, so that it hears every publication: it is
  // subscribed once it has complained that nothing is published yet.
  listener_.emplace(options_.qbfa, session_.home().root() + "/listener.err");
  const Clock::time_point give_up = Clock::now() + kPatience;
  while (!ReadComplaints(listener_->Errors()).subscribed) {
    if (!listener_->Running() || Clock::now() > give_up)
      throw std::runtime_error("the listener did not start: " + listener_->Errors());
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }

  host_ = &session_.StartHost();
  began_ = Clock::now();
  report_.host_at_start = ReadProcessUsage(host_->pid());
  metronome_.emplace(kSwitchPeriod);
}

void Soak::Churn() {
  const Clock::time_point end = began_ + options_.duration;
  Clock::time_point next_commit = Clock::now();
  Clock::time_point next_sample = next_commit;
  Clock::time_point next_progress = next_commit + kProgressPeriod;
  while (!Failing()) {
    const Clock::time_point now = Clock::now();
    if (now >= end)
      return;
    if (now >= next_commit) {
      CommitTransaction();
      const int gap =
          kShortestGapMs + static_cast<int>(random_() % (kLongestGapMs - kShortestGapMs + 1));
      next_commit = Clock::now() + std::chrono::milliseconds(gap);
    }
    if (now >= next_sample) {
      TakeSample();
      next_sample = std::max(next_sample + kSamplePeriod, now);
    }
    if (now >= next_progress) {
      ReportProgress();
      next_progress += kProgressPeriod;
    }
    TallyHostLog();
    TakePublications(std::min({next_commit, next_sample, end}));
  }
}

// The switches stop first, so that the last commit lands with no read under
// way; then one switch, once the watcher has marked the sets stale.
void Soak::Finish() {
  metronome_->Stop();
  report_.switches_sent = metronome_->sent();
  if (metronome_->failed() > 0) {
    Fail(std::to_string(metronome_->failed()) +
         " switches could not be sent; the last because: " + metronome_->last_error());
  }
  AwaitQuiet();

  const std::string& database = session_.database();
  struct stat before;
  if (stat(database.c_str(), &before) != 0)
    throw std::runtime_error("cannot stat " + database);
  // The watcher acts only on a later date than the last it acted on.
  qbfa_test::AwaitFileClockPast(session_.home().root(), before.st_mtim);
  const size_t from = host_->LineCount();
  CommitTransaction();
  const std::string final_tree = states_.newest();
  const LoggedHost::Line dated =
      host_->Await(" vs " + qbfa_test::WatcherLoggedDate(database), from);
  const LoggedHost::Line stale = host_->Await("[QB] \tident=", dated.index);

  std::string error;
  if (!EmitFrontSwitchSignal(&error))
    throw std::runtime_error("cannot send the switch after the last commit: " + error);
  ++report_.switches_sent;
  const LoggedHost::Line handled =
      host_->Await("qbfa host: front application switched", stale.index);
  if (host_->Await("[QB] Updating font sets", stale.index).index > handled.index)
    Fail("the switch after the last commit did not re-read the sets");
  AwaitQuiet();
  report_.final_state_checked = true;
  report_.final_state_published = last_publication_ == final_tree;
  if (!report_.final_state_published) {
    Fail("after the last commit, the next switch did not publish the final state" +
         KeepEvidence("final-state.xml", final_tree) +
         KeepEvidence("last-publication.xml", last_publication_));
  }
}

void Soak::Stop() {
  if (metronome_) {
    metronome_->Stop();
    report_.switches_sent = std::max(report_.switches_sent, metronome_->sent());
  }
  if (host_ != nullptr)
    report_.host_at_end = ReadProcessUsage(host_->pid());
  if (listener_)
    listener_->Stop();
  if (host_ != nullptr) {
    report_.host_exit_status = host_->Stop();
    // The host's last lines: a sanitizer's leak report comes at its end.
    TallyHostLog();
  }
}

void Soak::Judge() {
  if (report_.host_log.fault_count > 0) {
    std::string lines;
    for (const std::string& line : report_.host_log.faults)
      lines += "\n      " + line;
    Fail("the host logged " + std::to_string(report_.host_log.fault_count) +
         " line(s) of a fault; the first:" + lines);
  }
  if (host_ != nullptr && report_.host_exit_status != 0)
    Fail("the host exited with status " + std::to_string(report_.host_exit_status));
  if (report_.partial_publications > report_.host_log.locked_link_reads) {
    Fail(std::to_string(report_.partial_publications) +
         " publications held the sets without their links, but only " +
         std::to_string(report_.host_log.locked_link_reads) + " reads of the links were locked");
  }
  if (listener_) {
    const ListenerComplaints complaints = ReadComplaints(listener_->Errors());
    report_.empty_reads = complaints.empty_reads;
    if (!complaints.others.empty())
      Fail("the listener wrote:\n" + complaints.others);
  }

  report_.flatness = JudgeFlatness(samples_);
  if (!report_.flatness) {
    // A run that failed early says why already.
    if (report_.passed())
      Fail("too short a run to judge the host's memory and descriptors");
  } else {
    if (report_.memory_judged && !report_.flatness->memory_flat)
      Fail("the host's memory grew in the last quarter of the run");
    if (!report_.flatness->descriptors_flat)
      Fail("the host's open descriptors grew in the last quarter of the run");
  }
}

void Soak::CommitTransaction() {
  const uint32_t moves = 1 + random_() % kMostMovesPerTransaction;
  for (uint32_t i = 0; i < moves; ++i)
    report_.fonts_moved += moves_.MoveOne() ? 1 : 0;
  std::vector<uint8_t> image = LibraryImage(moves_.library());
  states_.Add(PublishedTree(image, scratch_));

  std::unique_ptr<sqlite2::writer::JournaledRewrite> rewrite;
  sqlite2::Status status =
      sqlite2::writer::JournaledRewrite::Open(session_.database(), std::move(image), {}, &rewrite);
  const Clock::time_point give_up = Clock::now() + kPatience;
  if (status.ok())
    status = rewrite->Commit();
  while (status.rc == SQLITE_BUSY && Clock::now() < give_up) {
    ++report_.writer_busy_retries;
    std::this_thread::sleep_for(kBusyRetry);
    status = rewrite->Commit();
  }
  if (!status.ok())
    throw std::runtime_error("the writer could not commit: " + status.message());
  ++report_.transactions;
}

void Soak::TakeSample() {
  const std::optional<ProcessUsage> usage = ReadProcessUsage(host_->pid());
  if (!usage)
    throw std::runtime_error("the host has ended");
  samples_.push_back({Clock::now() - began_, *usage});
}

void Soak::TallyHostLog() {
  for (const LoggedHost::Line& line : host_->Since(log_cursor_)) {
    report_.host_log.Add(line.text);
    log_cursor_ = line.index + 1;
  }
  host_->Forget(log_cursor_);
}

void Soak::TakePublications(Clock::time_point until) {
  while (std::optional<std::string> publication = listener_->Next(until))
    CheckPublication(std::move(*publication));
  if (!listener_->Running())
    throw std::runtime_error("the listener ended: " + listener_->Errors());
}

void Soak::CheckPublication(std::string publication) {
  const size_t number = ++report_.listener_publications;
  if (states_.Match(publication)) {
    ++report_.matched_publications;
  } else if (publication == unlinked_tree_) {
    ++report_.partial_publications;
  } else {
    Fail("publication " + std::to_string(number) +
         " is the tree of no committed state from the one published before it on" +
         KeepEvidence("publication-" + std::to_string(number) + ".xml", publication) +
         KeepEvidence("newest-state.xml", states_.newest()));
  }
  last_publication_ = std::move(publication);
}

// Until the host has handled every switch sent and the listener has read
// every publication.
void Soak::AwaitQuiet() {
  const Clock::time_point give_up = Clock::now() + kPatience;
  for (;;) {
    TallyHostLog();
    TakePublications(Clock::now() + std::chrono::milliseconds(10));
    const size_t handled = report_.host_log.switches;
    const size_t read =
        report_.listener_publications + ReadComplaints(listener_->Errors()).empty_reads;
    if (handled >= report_.switches_sent && read >= report_.host_log.publications)
      return;
    if (Clock::now() > give_up) {
      throw std::runtime_error("the system did not settle: the host handled " +
                               std::to_string(handled) + " of " +
                               std::to_string(report_.switches_sent) +
                               " switches, the listener read " + std::to_string(read) + " of " +
                               std::to_string(report_.host_log.publications) + " publications");
    }
  }
}

void Soak::ReportProgress() {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - began_);
  std::fprintf(stderr, "qbfa soak: %lld s: %zu transactions, %zu switches, %zu publications\n",
               static_cast<long long>(seconds.count()), report_.transactions, metronome_->sent(),
               report_.listener_publications);
}

std::string Soak::KeepEvidence(const std::string& name, const std::string& text) {
  if (evidence_.empty()) {
    std::string pattern = "/tmp/qbfa-soak-evidence-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr)
      return "";
    evidence_ = pattern;
  }
  const std::string path = evidence_ + "/" + name;
  std::ofstream(path, std::ios::binary) << text;
  return " (" + path + ")";
}

}  // namespace

SoakReport RunSoak(const SoakOptions& options) {
  try {
    return Soak(options).Run();
  } catch (const std::exception& error) {
    // The session could not be set up.
    SoakReport report;
    report.failures.push_back(error.what());
    return report;
  }
}

}  // namespace qbfa_soak
