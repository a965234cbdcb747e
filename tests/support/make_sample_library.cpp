// Writes the bundled sample libraries: make_sample_library DIR writes
// DIR/FontAgent.db and DIR/FontAgent-2.db.
#include <cstdio>
#include <string>

#include "tests/support/sample_library.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s DIR\n", argv[0]);
    return 2;
  }
  for (int version : {1, 2}) {
    const std::string path = std::string(argv[1]) + "/" + qbfa_test::SampleLibraryFileName(version);
    sqlite2::writer::Database db;
    sqlite2::Status status = qbfa_test::BuildSampleLibrary(version, &db);
    if (status.ok())
      status = db.WriteFile(path);
    if (!status.ok()) {
      std::fprintf(stderr, "%s: %s\n", path.c_str(), status.message().c_str());
      return 1;
    }
  }
  return 0;
}
