// Every input a fuzz target starts from or once found a fault with, replayed
// through the same check the target runs: its corpus, its findings kept
// under tests/ (each once fixed), and for the database target the fixture
// databases. The sanitizer build turns any out-of-bounds read or leak on
// the way into a failure.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/checks.h"
#include "fuzz/scratch.h"

namespace {

namespace fs = std::filesystem;

using Check = std::string (*)(std::string_view);

struct Inputs {
  const char* target;
  const char* kind;  // names the test
  std::string folder;
  Check check;
  // Only files with this extension (all but READMEs when empty).
  std::string_view extension = {};
};

void PrintTo(const Inputs& inputs, std::ostream* out) {
  *out << inputs.target << " " << inputs.kind << " (" << inputs.folder << ")";
}

std::string Source(const char* path) {
  return std::string(QBFA_SOURCE_DIR) + "/" + path;
}

std::vector<Inputs> AllInputs() {
  struct Target {
    const char* name;
    const char* findings;
    Check check;
  };
  const Target targets[] = {
      {"database", "tests/sqlite2/hostile", qbfa_fuzz::CheckDatabaseInput},
      {"sql", "tests/sqlite2/hostile_sql", qbfa_fuzz::CheckSqlText},
      {"plist_xml", "tests/platform/hostile_plists", qbfa_fuzz::CheckXmlPropertyList},
      {"plist_binary", "tests/platform/hostile_plists", qbfa_fuzz::CheckBinaryPropertyList},
      {"preferences", "tests/platform/hostile_preferences", qbfa_fuzz::CheckPreferencesFile},
  };
  std::vector<Inputs> all;
  for (const Target& target : targets) {
    all.push_back({target.name, "corpus", Source("fuzz/corpus/") + target.name, target.check});
    all.push_back({target.name, "findings", Source(target.findings), target.check});
  }
  all.push_back({"database", "fixtures", QBFA_FIXTURES_DIR, qbfa_fuzz::CheckDatabaseInput, ".db"});
  return all;
}

std::vector<std::string> FilesIn(const Inputs& inputs) {
  std::vector<std::string> paths;
  for (const auto& entry : fs::directory_iterator(inputs.folder)) {
    const fs::path& path = entry.path();
    if (inputs.extension.empty() ? path.filename() != "README.md"
                                 : path.extension() == inputs.extension) {
      paths.push_back(path.string());
    }
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

class Replay : public ::testing::TestWithParam<Inputs> {};

TEST_P(Replay, EveryInputPassesTheTargetsCheck) {
  const std::vector<std::string> paths = FilesIn(GetParam());
  if (std::string_view(GetParam().kind) != "findings") {
    EXPECT_FALSE(paths.empty()) << "nothing in " << GetParam().folder;
  }
  for (const std::string& path : paths)
    EXPECT_EQ(GetParam().check(qbfa_fuzz::ReadFile(path)), "") << path;
}

INSTANTIATE_TEST_SUITE_P(Targets, Replay, ::testing::ValuesIn(AllInputs()), [](const auto& info) {
  return std::string(info.param.target) + "_" + info.param.kind;
});

}  // namespace
