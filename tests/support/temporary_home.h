// A throw-away home for one test.
#ifndef TESTS_SUPPORT_TEMPORARY_HOME_H_
#define TESTS_SUPPORT_TEMPORARY_HOME_H_

#include <string>

#include "tests/support/environment.h"

namespace qbfa_test {

// Makes a fresh directory tree and points HOME, XDG_RUNTIME_DIR and
// XDG_CONFIG_HOME into it while it lives; then restores them and deletes the
// tree. Every directory is mode 0700, as a real runtime directory is.
//
//   <root>/home            HOME
//   <root>/home/.config    XDG_CONFIG_HOME
//   <root>/runtime         XDG_RUNTIME_DIR
class TemporaryHome {
 public:
  TemporaryHome();
  TemporaryHome(const TemporaryHome&) = delete;
  TemporaryHome& operator=(const TemporaryHome&) = delete;
  ~TemporaryHome();

  const std::string& root() const { return root_; }
  const std::string& home() const { return home_; }
  const std::string& config_dir() const { return config_dir_; }
  const std::string& runtime_dir() const { return runtime_dir_; }

 private:
  std::string root_;
  std::string home_;
  std::string config_dir_;
  std::string runtime_dir_;
  ScopedEnvironmentVariable home_variable_;
  ScopedEnvironmentVariable config_variable_;
  ScopedEnvironmentVariable runtime_variable_;
};

}  // namespace qbfa_test

#endif  // TESTS_SUPPORT_TEMPORARY_HOME_H_
