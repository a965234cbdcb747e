// Environment variables changed for the length of a scope.
#ifndef TESTS_SUPPORT_ENVIRONMENT_H_
#define TESTS_SUPPORT_ENVIRONMENT_H_

#include <optional>
#include <string>

namespace qbfa_test {

// Sets (or, given nullopt, removes) one variable; puts back what was there
// when it goes out of scope. Child processes started meanwhile inherit it.
class ScopedEnvironmentVariable {
 public:
  ScopedEnvironmentVariable(std::string name, std::optional<std::string> value);
  ScopedEnvironmentVariable(const ScopedEnvironmentVariable&) = delete;
  ScopedEnvironmentVariable& operator=(const ScopedEnvironmentVariable&) = delete;
  ~ScopedEnvironmentVariable();

 private:
  std::string name_;
  std::optional<std::string> previous_;
};

}  // namespace qbfa_test

#endif  // TESTS_SUPPORT_ENVIRONMENT_H_
