#include "tests/support/fresh_process.h"

#include <gtest/gtest.h>
#include <spawn.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "tests/support/child_process.h"

extern char** environ;

namespace qbfa_test {
namespace {

// Names the one test a process was started for.
constexpr char kFreshTestVariable[] = "QBFA_FRESH_PROCESS_TEST";

std::string CurrentTestName() {
  const testing::TestInfo* test = testing::UnitTest::GetInstance()->current_test_info();
  return std::string(test->test_suite_name()) + "." + test->name();
}

// Runs this binary on `test` alone; its exit code, -1 when it did not exit.
int RunAlone(const std::string& test) {
  std::vector<std::string> environment = {std::string(kFreshTestVariable) + "=" + test};
  for (char** variable = environ; *variable != nullptr; ++variable) {
    if (!std::string(*variable).starts_with(std::string(kFreshTestVariable) + "="))
      environment.push_back(*variable);
  }
  std::vector<char*> envp;
  for (std::string& variable : environment)
    envp.push_back(variable.data());
  envp.push_back(nullptr);
  std::string program = "/proc/self/exe";
  std::string filter = "--gtest_filter=" + test;
  char* argv[] = {program.data(), filter.data(), nullptr};

  pid_t child = -1;
  if (posix_spawn(&child, program.c_str(), nullptr, nullptr, argv, envp.data()) != 0)
    return -1;
  return WaitForChildProcess(child);
}

}  // namespace

bool InFreshProcess() {
  static bool state_used = false;
  const std::string test = CurrentTestName();
  const char* wanted = std::getenv(kFreshTestVariable);
  if ((wanted != nullptr && test == wanted) || !state_used) {
    state_used = true;
    return true;
  }
  EXPECT_EQ(RunAlone(test), 0) << test << " failed in a process of its own (its output is above)";
  return false;
}

}  // namespace qbfa_test
