#include "bench/libraries.h"

#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <tuple>

#include "reader/set_reader.h"
#include "sqlite2/sqlite.h"
#include "state.h"

namespace qbfa_bench {
namespace {

// Libraries of 80,000 fonts take a while to write, so they are shared by
// every benchmark of a run, and cleaned up with it.
class LibraryFolder {
 public:
  LibraryFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "qbfa_bench_XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
      std::perror("mkdtemp");
      std::exit(1);
    }
    path_ = pattern;
  }
  ~LibraryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace

const char* IdsName(FontIds ids) {
  return ids == FontIds::kIntegerPrimaryKey ? "integer" : "text";
}

qbfa_test::FontDatabaseShape LibraryShape(int fonts, FontIds ids, uint32_t seed) {
  qbfa_test::FontDatabaseShape shape;
  shape.font_count = fonts;
  shape.fonts_per_set = 20;
  shape.nesting_depth = 3;
  shape.sets_per_font = 2;
  shape.font_ids = ids;
  shape.seed = seed;
  return shape;
}

const std::string& LibraryPath(int fonts, FontIds ids, uint32_t seed) {
  static LibraryFolder folder;
  static std::map<std::tuple<int, FontIds, uint32_t>, std::string> paths;
  std::string& path = paths[{fonts, ids, seed}];
  if (path.empty()) {
    path = folder.path() + "/fonts-" + std::to_string(fonts) + "-" + IdsName(ids) + "-" +
           std::to_string(seed) + ".db";
    sqlite2::Status written = qbfa_test::WriteFontDatabase(LibraryShape(fonts, ids, seed), path);
    if (!written.ok()) {
      std::fprintf(stderr, "%s: %s\n", path.c_str(), written.message().c_str());
      std::exit(1);
    }
  }
  return path;
}

cf::Ref<cf::Array> ReadSets(const std::string& path) {
  db = sqlite_open(path.c_str(), 0, nullptr);
  return QBFA_CopyFontSets();
}

}  // namespace qbfa_bench
