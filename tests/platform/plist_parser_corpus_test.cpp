// The fuzzer's seeds and every input it found a fault with, read as the
// fuzzer reads them: each ends with a tree that survives being written and
// read again, or with null and a reason. The sanitizer build turns any
// out-of-bounds read or leak on the way into a failure.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "fuzz/read_plist.h"
#include "platform/xml.h"

namespace {

namespace fs = std::filesystem;

std::vector<std::string> Inputs() {
  std::vector<std::string> paths;
  for (const char* folder : {"fuzz/corpus/plist_parser", "tests/platform/hostile_plists"}) {
    for (const auto& entry : fs::directory_iterator(fs::path(QBFA_SOURCE_DIR) / folder)) {
      if (entry.path().extension() != ".md")
        paths.push_back(entry.path().string());
    }
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

std::string Contents(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << file.rdbuf();
  return bytes.str();
}

class PlistInput : public ::testing::TestWithParam<std::string> {};

TEST_P(PlistInput, EndsInATreeThatComesBackOrInAReason) {
  const std::string bytes = Contents(GetParam());
  EXPECT_EQ(qbfa_fuzz::ReadPropertyList(bytes), "");
  // The seeds say by their names which they are.
  const std::string name = fs::path(GetParam()).filename().string();
  if (GetParam().find("fuzz/corpus") != std::string::npos) {
    std::string why;
    EXPECT_EQ(CFPropertyListCreateFromXMLData(bytes, &why) == nullptr, name.starts_with("bad_"))
        << why;
  }
}

INSTANTIATE_TEST_SUITE_P(Files, PlistInput, ::testing::ValuesIn(Inputs()), [](const auto& info) {
  std::string name = fs::path(info.param).filename().string();
  std::replace_if(
      name.begin(), name.end(), [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); },
      '_');
  return name;
});

}  // namespace
