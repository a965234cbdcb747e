// The host's ReportFrontApplication method, called over a private session bus
// as a desktop bridge calls it.
#include <gtest/gtest.h>
#include <systemd/sd-bus.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "hookwright/log.h"
#include "host/front_switch_signal.h"
#include "host/session_bus_source.h"
#include "tests/host/bridge_client.h"
#include "tests/support/session_bus.h"

namespace {

// The host's side: its session bus source, served by a run loop on a thread
// of its own, counting the switches reported to it and keeping its log.
class HostOnBus {
 public:
  HostOnBus() {
    source_ = SessionBusSource::Start(
        loop_, {.on_switch_signal = [] {}, .on_reported_switch = [this] { ++switches_; }}, &error_);
    if (source_)
      thread_ = std::thread([this] { loop_.Run(); });
  }
  ~HostOnBus() { Stop(); }

  void Stop() {
    if (thread_.joinable()) {
      loop_.Stop();
      thread_.join();
    }
    source_.reset();
  }

  bool started() const { return source_ != nullptr; }
  const std::string& error() const { return error_; }
  bool queued_for_name() const { return source_->queued_for_name(); }
  int switches() const { return switches_; }

 private:
  hookwright::RunLoop loop_;
  std::unique_ptr<SessionBusSource> source_;
  std::string error_;
  std::atomic<int> switches_ = 0;
  std::thread thread_;
};

// What the host logs while it lives.
class CapturedLog {
 public:
  CapturedLog()
      : previous_(hookwright::SetLogSink([this](std::string_view bytes) {
          std::lock_guard lock(mutex_);
          text_ += bytes;
        })) {}
  ~CapturedLog() { hookwright::SetLogSink(previous_); }
  std::string text() {
    std::lock_guard lock(mutex_);
    return text_;
  }

 private:
  std::mutex mutex_;
  std::string text_;
  hookwright::LogSink previous_;
};

class FrontApplicationMethodTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(bus_.running()) << bus_.error();
    ASSERT_TRUE(bridge_.connected());
  }
  qbfa_test::PrivateSessionBus bus_;
  qbfa_test::BridgeClient bridge_;
};

TEST_F(FrontApplicationMethodTest, ArgumentsOfOtherTypesGetTheBusErrorAndNothingElse) {
  CapturedLog log;
  HostOnBus host;
  ASSERT_TRUE(host.started()) << host.error();
  struct Case {
    const char* what;
    std::function<int(sd_bus_message*)> append;
  };
  const Case cases[] = {
      {"none", [](sd_bus_message*) { return 0; }},
      {"the application alone",
       [](sd_bus_message* m) { return sd_bus_message_append(m, "s", "wev"); }},
      {"the pid as a double",
       [](sd_bus_message* m) { return sd_bus_message_append(m, "sd", "wev", 7.0); }},
      {"the pid unsigned",
       [](sd_bus_message* m) { return sd_bus_message_append(m, "su", "wev", 7u); }},
      {"swapped", [](sd_bus_message* m) { return sd_bus_message_append(m, "is", 7, "wev"); }},
      {"one too many",
       [](sd_bus_message* m) { return sd_bus_message_append(m, "sii", "wev", 7, 8); }},
      {"bytes for the application",
       [](sd_bus_message* m) { return sd_bus_message_append(m, "ayi", 3, "wev", 7); }},
      {"a variant",
       [](sd_bus_message* m) { return sd_bus_message_append(m, "vi", "s", "wev", 7); }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const std::string answer = bridge_.Call(c.append);
    EXPECT_EQ(answer.substr(0, answer.find(':')), SD_BUS_ERROR_INVALID_ARGS) << answer;
  }
  EXPECT_EQ(bridge_.Report("wev", 7), "");
  host.Stop();
  EXPECT_EQ(host.switches(), 1) << "only the well-formed report counts";
  EXPECT_EQ(log.text(), "");
}

TEST_F(FrontApplicationMethodTest, RefusedIdentitiesAreLoggedOnce) {
  CapturedLog log;
  HostOnBus host;
  ASSERT_TRUE(host.started()) << host.error();
  const std::string too_long(kMaxReportedApplicationBytes + 1, 'x');
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(bridge_.Report(too_long, 7), std::string(SD_BUS_ERROR_INVALID_ARGS) +
                                               ": the application is longer than 1024 bytes");
  }
  EXPECT_EQ(bridge_.Report("wev", 7), "");
  host.Stop();
  EXPECT_EQ(host.switches(), 1);
  const std::string text = log.text();
  EXPECT_EQ(text.find("qbfa host: refused a front-application report from :"), 0u) << text;
  EXPECT_NE(
      text.find(": the application is longer than 1024 bytes (later refusals are not logged)\n"),
      std::string::npos)
      << text;
  EXPECT_EQ(text.find('\n'), text.size() - 1) << "one line only:\n" << text;
}

// A bridge gone wild, or another process flooding the method: every call is
// answered, each change of application counts, and the host answers the
// next call as promptly as ever.
TEST_F(FrontApplicationMethodTest, ABurstOfTenThousandReports) {
  HostOnBus host;
  ASSERT_TRUE(host.started()) << host.error();
  constexpr int kReports = 10'000;
  EXPECT_EQ(bridge_.Burst(kReports, [](int i) { return i % 2 ? "foot.desktop" : "wev"; }), 0);
  EXPECT_EQ(bridge_.Burst(kReports, [](int) { return "wev"; }), 0);
  EXPECT_EQ(bridge_.Report("qmlscene", 1), "");
  host.Stop();
  // Every report of the first burst switches; the second burst's first
  // report, and the last report, switch once more each.
  EXPECT_EQ(host.switches(), kReports + 2);
}

TEST_F(FrontApplicationMethodTest, ASecondHostQueuesForTheName) {
  auto first = std::make_unique<HostOnBus>();
  ASSERT_TRUE(first->started()) << first->error();
  HostOnBus second;
  ASSERT_TRUE(second.started()) << second.error();
  EXPECT_FALSE(first->queued_for_name());
  EXPECT_TRUE(second.queued_for_name());

  EXPECT_EQ(bridge_.Report("wev", 7), "");
  first->Stop();
  EXPECT_EQ(first->switches(), 1);
  first.reset();
  // The bus hands the name on as the first host's connection closes; the
  // call waits in the bus for no one, so ask until the second answers.
  std::string answer;
  for (int attempt = 0; attempt < 600 && second.switches() == 0; ++attempt) {
    answer = bridge_.Report("foot.desktop", 8);
    if (second.switches() == 0)
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  EXPECT_EQ(answer, "");
  second.Stop();
  EXPECT_EQ(second.switches(), 1);
}

}  // namespace
