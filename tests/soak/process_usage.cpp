#include "tests/soak/process_usage.h"

#include <filesystem>
#include <fstream>
#include <string>

namespace qbfa_soak {
namespace {

// A field of /proc/PID/status in kB ("VmRSS:   12345 kB").
std::optional<size_t> StatusField(const std::string& status, const std::string& field) {
  std::ifstream file(status);
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with(field + ":"))
      return std::stoul(line.substr(field.size() + 1));
  }
  return std::nullopt;
}

}  // namespace

std::optional<ProcessUsage> ReadProcessUsage(pid_t pid) {
  const std::string process = "/proc/" + std::to_string(pid);
  const std::optional<size_t> resident = StatusField(process + "/status", "VmRSS");
  const std::optional<size_t> peak = StatusField(process + "/status", "VmHWM");
  std::error_code error;
  size_t descriptors = 0;
  for (auto entry = std::filesystem::directory_iterator(process + "/fd", error);
       !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    ++descriptors;
  }
  if (!resident || !peak || error)
    return std::nullopt;
  return ProcessUsage{*resident, *peak, descriptors};
}

}  // namespace qbfa_soak
