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

std::string ProgramOnPath(const std::string& program) {
  const char* path = std::getenv("PATH");
  const std::string folders = path != nullptr ? path : "";
  for (size_t start = 0; start <= folders.size();) {
    size_t end = folders.find(':', start);
    if (end == std::string::npos)
      end = folders.size();
    const std::string file = folders.substr(start, end - start) + "/" + program;
    if (access(file.c_str(), X_OK) == 0)
      return file;
    start = end + 1;
  }
  return "";
}

}  // namespace qbfa_test
