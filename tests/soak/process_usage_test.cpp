#include "tests/soak/process_usage.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <vector>

namespace qbfa_soak {
namespace {

TEST(ProcessUsage, CountsDescriptorsAndMemoryOfAProcess) {
  const std::optional<ProcessUsage> before = ReadProcessUsage(getpid());
  ASSERT_TRUE(before);
  EXPECT_GT(before->resident_kb, 0u);
  EXPECT_GE(before->peak_resident_kb, before->resident_kb);

  const int opened = open("/dev/null", O_RDONLY | O_CLOEXEC);
  ASSERT_GE(opened, 0);
  // 64 MiB touched page by page show in the resident size.
  std::vector<char> touched(64 << 20, 1);
  const std::optional<ProcessUsage> after = ReadProcessUsage(getpid());
  close(opened);
  ASSERT_TRUE(after);
  EXPECT_EQ(after->descriptors, before->descriptors + 1);
  EXPECT_GE(after->resident_kb, before->resident_kb + (60 << 10));
  EXPECT_GE(after->peak_resident_kb, after->resident_kb);
}

TEST(ProcessUsage, NothingForAProcessThatEnded) {
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0)
    _exit(0);
  // Exited but not yet waited for: a zombie, which holds no memory.
  siginfo_t info;
  ASSERT_EQ(waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT), 0);
  EXPECT_FALSE(ReadProcessUsage(child));
  ASSERT_EQ(waitpid(child, nullptr, 0), child);
  EXPECT_FALSE(ReadProcessUsage(child));
}

}  // namespace
}  // namespace qbfa_soak
