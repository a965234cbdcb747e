// Whole files as text, for comparisons and for logs a test reads back.
#ifndef TESTS_SUPPORT_FILE_TEXT_H_
#define TESTS_SUPPORT_FILE_TEXT_H_

#include <string>

namespace qbfa_test {

// Every byte of the file; empty when it cannot be read (yet).
std::string FileText(const std::string& path);

// The sample library bundled in the project: sample/FontAgent.db, or
// sample/FontAgent-2.db for version 2.
std::string BundledSamplePath(int version);

}  // namespace qbfa_test

#endif  // TESTS_SUPPORT_FILE_TEXT_H_
