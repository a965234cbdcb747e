#include "tests/support/temporary_home.h"

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace qbfa_test {
namespace {

std::string MakeRoot() {
  std::string pattern = "/tmp/qbfa-test-home-XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr)
    throw std::runtime_error("mkdtemp failed");
  return pattern;
}

const std::string& MakeDirectory(const std::string& path) {
  if (mkdir(path.c_str(), 0700) != 0)
    throw std::runtime_error("cannot create " + path);
  return path;
}

}  // namespace

TemporaryHome::TemporaryHome()
    : root_(MakeRoot()),
      home_(MakeDirectory(root_ + "/home")),
      config_dir_(MakeDirectory(home_ + "/.config")),
      runtime_dir_(MakeDirectory(root_ + "/runtime")),
      home_variable_("HOME", home_),
      config_variable_("XDG_CONFIG_HOME", config_dir_),
      runtime_variable_("XDG_RUNTIME_DIR", runtime_dir_) {}

TemporaryHome::~TemporaryHome() {
  std::error_code ignored;
  std::filesystem::remove_all(root_, ignored);
}

}  // namespace qbfa_test
