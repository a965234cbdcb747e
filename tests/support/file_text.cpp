#include "tests/support/file_text.h"

#include <fstream>
#include <iterator>

namespace qbfa_test {

std::string FileText(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

std::string BundledSamplePath(int version) {
  return std::string(QBFA_SOURCE_DIR "/sample/") +
         (version == 2 ? "FontAgent-2.db" : "FontAgent.db");
}

}  // namespace qbfa_test
