#include "fuzz/scratch.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace qbfa_fuzz {
namespace {

[[noreturn]] void Fail(const std::string& what) {
  std::perror(what.c_str());
  std::abort();
}

}  // namespace

const std::string& ScratchDirectory() {
  // Never destroyed: the exit handler below still needs it.
  static const std::string* const directory = [] {
    std::string pattern = std::filesystem::temp_directory_path() / "qbfa_fuzz_XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr)
      Fail("mkdtemp");
    auto* made = new std::string(pattern);
    // libFuzzer ends a run through exit(), which runs this.
    std::atexit([] {
      std::error_code ignored;
      std::filesystem::remove_all(ScratchDirectory(), ignored);
    });
    return made;
  }();
  return *directory;
}

void WriteFile(const std::string& path, std::string_view bytes) {
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0 || write(fd, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
    Fail(path);
  close(fd);
}

std::string ReadFile(const std::string& path, bool* missing) {
  std::string bytes;
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (missing != nullptr)
    *missing = fd < 0 && errno == ENOENT;
  if (fd < 0) {
    if (errno == ENOENT && missing != nullptr)
      return bytes;
    Fail(path);
  }
  char buffer[1 << 14];
  for (ssize_t n; (n = read(fd, buffer, sizeof buffer)) != 0;) {
    if (n < 0)
      Fail(path);
    bytes.append(buffer, static_cast<size_t>(n));
  }
  close(fd);
  return bytes;
}

}  // namespace qbfa_fuzz
