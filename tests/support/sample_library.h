// The sample font library bundled with the project (sample/FontAgent.db): a
// small, realistic font manager database for the demo and the end-to-end
// tests. Forty-odd fonts in thirteen families, sets nested up to three levels
// (one set filed under two parents), two hidden "__" sets, a "Last Import"
// set and an empty set, none of which are published.
//
// Version 2 is the same library a little later (sample/FontAgent-2.db): the
// set "Spring Campaign" was added and "Kestrel Slab Regular" moved from "Web"
// to "Code".
#ifndef TESTS_SUPPORT_SAMPLE_LIBRARY_H_
#define TESTS_SUPPORT_SAMPLE_LIBRARY_H_

#include <string>

#include "sqlite2/status.h"
#include "tests/sqlite2_writer/database.h"

namespace qbfa_test {

// Fills `db`, which must be empty, with version `version` (1 or 2).
sqlite2::Status BuildSampleLibrary(int version, sqlite2::writer::Database* db);

// The file name of each version inside sample/.
std::string SampleLibraryFileName(int version);

}  // namespace qbfa_test

#endif  // TESTS_SUPPORT_SAMPLE_LIBRARY_H_
