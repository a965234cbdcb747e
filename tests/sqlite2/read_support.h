// What the hardening tests share: databases in several versions, everything
// a reader sees in one, and a witness that a file was left alone.
#ifndef TESTS_SQLITE2_READ_SUPPORT_H_
#define TESTS_SQLITE2_READ_SUPPORT_H_

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "sqlite2/sqlite.h"

namespace sqlite2::testing {

// A database of `fonts` rows in version `version`: fonts(id INTEGER
// PRIMARY KEY, name TEXT, path TEXT) with some paths long enough to
// overflow, and rel(parent, child TEXT) with an index on parent, naming
// two fonts per row. Every value carries the version, so two versions
// share no rows.
std::vector<uint8_t> FontImage(int version, int fonts);

// Everything one handle reads in one outermost statement: each rel row,
// and under it the font its child names, looked up by the unindexed name
// (an automatic index) - then every row of fonts on its own. A failing
// statement adds "rc N message" and the lines stop there.
std::vector<std::string> ReadEverything(sqlite* db);
// The same on a fresh handle of `path`; "open: message" when it fails.
std::vector<std::string> ReadEverything(const std::string& path);

// Where a table row's cell lies in a little-endian image: its offset in
// the file, the rowid its key holds and its first overflow page (0 when
// its payload fits in the cell).
struct RowCell {
  size_t at;
  int32_t rowid;
  uint32_t overflow;
};
// The cells with 4-byte keys on every page after sqlite_master's root that
// decodes as a B-tree page: the rows of the image's tables, when it has
// no index.
std::vector<RowCell> RowCells(const std::vector<uint8_t>& image);

// The bytes and modification time of a file, or that it was missing.
class FileWitness {
 public:
  explicit FileWitness(std::string path);
  // Empty when the file is as it was; else what changed.
  std::string Changes() const;

 private:
  struct State {
    bool exists = false;
    std::vector<uint8_t> bytes;
    timespec modified{};
  };
  static State Look(const std::string& path);

  std::string path_;
  State before_;
};

}  // namespace sqlite2::testing

#endif  // TESTS_SQLITE2_READ_SUPPORT_H_
