// libFuzzer target: arbitrary bytes as a database file, read every way a
// reader reads one. Bytes after the first rollback-journal magic in the
// input go to "<database>-journal" instead, so the fuzzer can also make hot
// journals of any shape (it finds the magic by itself through the memcmp).
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>

#include "fuzz/read_all.h"

namespace {

// Format 3's magic; any journal format would do as the marker.
constexpr std::string_view kJournalMagic("\xd9\xd5\x05\xf9\x20\xa1\x63\xd6", 8);

const char* Directory() {
  // A plain array: it outlives everything, the exit handler below included.
  static char directory[] = "/tmp/qbfa_fuzz_XXXXXX";
  static const bool made = [] {
    if (mkdtemp(directory) == nullptr) {
      std::perror("mkdtemp");
      std::abort();
    }
    // libFuzzer ends a run through exit(), which runs this.
    std::atexit([] { std::filesystem::remove_all(directory); });
    return true;
  }();
  static_cast<void>(made);
  return directory;
}

void WriteFile(const std::string& path, std::string_view bytes) {
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0 || write(fd, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
    std::perror(path.c_str());
    std::abort();
  }
  close(fd);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const size_t split = input.find(kJournalMagic);
  const std::string database = std::string(Directory()) + "/fuzz.db";
  const std::string journal = database + "-journal";
  WriteFile(database, input.substr(0, split));
  if (split == std::string_view::npos) {
    unlink(journal.c_str());
  } else {
    WriteFile(journal, input.substr(split));
  }
  qbfa_fuzz::ReadAll(database);
  return 0;
}
