#include "tests/support/environment.h"

#include <unistd.h>

#include <cstdlib>

namespace qbfa_test {
namespace {

void Apply(const std::string& name, const std::optional<std::string>& value) {
  if (value) {
    setenv(name.c_str(), value->c_str(), 1);
  } else {
    unsetenv(name.c_str());
  }
}

}  // namespace

ScopedEnvironmentVariable::ScopedEnvironmentVariable(std::string name,
                                                     std::optional<std::string> value)
    : name_(std::move(name)) {
  if (const char* previous = getenv(name_.c_str()))
    previous_ = previous;
  Apply(name_, value);
}

ScopedEnvironmentVariable::~ScopedEnvironmentVariable() {
  Apply(name_, previous_);
}

}  // namespace qbfa_test
