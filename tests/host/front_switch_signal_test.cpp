// `qbfa switch`'s signal and the hosts' subscription to it, on a private
// session bus.
#include "host/front_switch_signal.h"
#include "host/session_bus_source.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>

#include "hookwright/log.h"
#include "tests/support/environment.h"
#include "tests/support/session_bus.h"
#include "tests/support/temporary_home.h"

namespace {

// Only a source that stopped reporting waits this long.
constexpr auto kPatience = std::chrono::seconds(60);

TEST(FrontSwitchSignal, ReachesEveryHostOfTheSession) {
  qbfa_test::PrivateSessionBus bus;
  ASSERT_TRUE(bus.running()) << bus.error();
  hookwright::RunLoop loop;
  int first_heard = 0;
  int second_heard = 0;
  auto heard = [&] {
    if (first_heard == 2 && second_heard == 2)
      loop.Stop();
  };
  std::string error;
  auto first = SessionBusSource::Start(loop,
                                       {.on_switch_signal =
                                            [&] {
                                              ++first_heard;
                                              heard();
                                            },
                                        .on_reported_switch = [] {}},
                                       &error);
  ASSERT_NE(first, nullptr) << error;
  auto second = SessionBusSource::Start(loop,
                                        {.on_switch_signal =
                                             [&] {
                                               ++second_heard;
                                               heard();
                                             },
                                         .on_reported_switch = [] {}},
                                        &error);
  ASSERT_NE(second, nullptr) << error;

  // Sent after both subscribed, before either loop turn: neither may be lost.
  ASSERT_TRUE(EmitFrontSwitchSignal(&error)) << error;
  ASSERT_TRUE(EmitFrontSwitchSignal(&error)) << error;
  loop.AddTimer(kPatience, [&] { loop.Stop(); });
  loop.Run();
  EXPECT_EQ(first_heard, 2);
  EXPECT_EQ(second_heard, 2);
}

TEST(FrontSwitchSignal, WithoutABus) {
  qbfa_test::PrivateSessionBus bus;
  ASSERT_TRUE(bus.running()) << bus.error();
  hookwright::RunLoop loop;
  std::string error;
  auto source = SessionBusSource::Start(loop, {[] {}, [] {}}, &error);
  ASSERT_NE(source, nullptr) << error;

  std::string log;
  hookwright::LogSink previous = hookwright::SetLogSink([&](std::string_view bytes) {
    log += bytes;
    loop.Stop();
  });
  bus.Stop();
  loop.AddTimer(kPatience, [&] { loop.Stop(); });
  loop.Run();
  hookwright::SetLogSink(previous);
  EXPECT_NE(log.find("qbfa host: lost the session bus"), std::string::npos) << log;

  EXPECT_FALSE(EmitFrontSwitchSignal(&error));
  EXPECT_NE(error.find("session bus"), std::string::npos) << error;
  EXPECT_EQ(SessionBusSource::Start(loop, {[] {}, [] {}}, &error), nullptr);
}

TEST(FrontSwitchSignal, ASessionNamesItsBusByAddressOrRuntimeSocket) {
  qbfa_test::TemporaryHome home;
  qbfa_test::ScopedEnvironmentVariable no_address("DBUS_SESSION_BUS_ADDRESS", std::nullopt);
  EXPECT_FALSE(SessionBusConfigured());
  std::ofstream(home.runtime_dir() + "/bus").put('\0');
  EXPECT_TRUE(SessionBusConfigured());
  qbfa_test::ScopedEnvironmentVariable address("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere");
  std::filesystem::remove(home.runtime_dir() + "/bus");
  EXPECT_TRUE(SessionBusConfigured());
}

}  // namespace
