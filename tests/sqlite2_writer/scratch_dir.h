// A directory of its own for one test, removed with everything in it.
#ifndef TESTS_SQLITE2_WRITER_SCRATCH_DIR_H_
#define TESTS_SQLITE2_WRITER_SCRATCH_DIR_H_

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace sqlite2::writer::testing {

class ScratchDir {
 public:
  ScratchDir() {
    std::string pattern = ::testing::TempDir() + "sqlite2_writer_XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr)
      ADD_FAILURE() << "mkdtemp failed";
    path_ = pattern;
  }
  ~ScratchDir() { std::filesystem::remove_all(path_); }
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;

  std::string File(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

inline std::vector<uint8_t> ReadBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline void WriteBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()),
            static_cast<std::streamsize>(bytes.size()));
}

}  // namespace sqlite2::writer::testing

#endif  // TESTS_SQLITE2_WRITER_SCRATCH_DIR_H_
