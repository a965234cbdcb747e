#include <gtest/gtest.h>

#include "tests/host/headless_kwin.h"
#include "tests/support/session_bus.h"

namespace {

TEST(Scratch, Harness) {
  QBFA_SKIP_WITHOUT_KWIN();
  qbfa_test::PrivateSessionBus bus;
  ASSERT_TRUE(bus.running()) << bus.error();
  qbfa_test::HeadlessKWin kwin;
  ASSERT_TRUE(kwin.running()) << kwin.error();
  ASSERT_TRUE(kwin.InstallPackage(QBFA_SOURCE_DIR "/desktop/kwin/qbfa-front-switch"))
      << kwin.error();
  auto notes =
      kwin.StartApplication(kwin.QmlWindows({"notes 1", "notes 2"}), {"notes 1", "notes 2"});
  ASSERT_TRUE(notes) << kwin.error();
  auto wev = kwin.StartApplication({"wev"}, {"wev"});
  ASSERT_TRUE(wev) << kwin.error();
  EXPECT_TRUE(kwin.Focus("notes 1")) << kwin.error();
  EXPECT_TRUE(kwin.Focus("wev")) << kwin.error();
  EXPECT_TRUE(kwin.Flush("org.freedesktop.DBus")) << kwin.error();
}

}  // namespace
