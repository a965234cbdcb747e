// What each fuzz target checks of one input. The targets and the tests that
// replay their corpora and findings share these, so a finding replays
// through exactly the code that found it. Each returns empty when all held,
// else what did not; a crash, a sanitizer report, a hang or runaway memory
// on the way is a finding as well.
#ifndef FUZZ_CHECKS_H_
#define FUZZ_CHECKS_H_

#include <string>
#include <string_view>

namespace qbfa_fuzz {

// The input as a database file, read every way a reader reads one
// (read_all.h). The bytes from the first rollback-journal magic on (any
// format's) are its hot journal, so the fuzzer can make journals of any
// shape. Every statement must end as a reader of a damaged file may see one
// end, and neither file may change.
std::string CheckDatabaseInput(std::string_view input);

// The input as the statement text of `qbfa sql`, run on a sound database
// with every kind of column and access path, and once more nested inside
// the first row's callback, as the plug-in nests its font lookups. It must
// end fine or as an SQL error, with a message exactly when it fails.
std::string CheckSqlText(std::string_view input);

// The input as a publication on the pasteboard, read as a listener reads
// it: a tree, or null with a reason; and a tree that the writer writes and
// the reader reads back as the same tree. One target takes the inputs that
// look like XML, the other those that look binary, and each passes the
// rest over, so that neither spends its time on the other's format.
std::string CheckXmlPropertyList(std::string_view input);
std::string CheckBinaryPropertyList(std::string_view input);

// The input as a preferences file, read as the plug-in reads its switch and
// as `qbfa defaults` reads, prints and rewrites it: a dictionary, or a
// reason; and one whose rewritten file reads back as the same dictionary.
std::string CheckPreferencesFile(std::string_view input);

}  // namespace qbfa_fuzz

#endif  // FUZZ_CHECKS_H_
