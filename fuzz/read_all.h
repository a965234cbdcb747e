// Everything a reader might do with a database file, in one call: open it,
// scan every table, and look rows up by each of their values - at the top
// level and nested inside a scan, as the plug-in nests its font lookups -
// so that rowid seeks, index seeks, hashed lookups and scans all run on
// whatever the file holds; and run the plug-in's font lookup with each
// value pasted into it unquoted, as the plug-in pastes a relationship's
// child id.
#ifndef FUZZ_READ_ALL_H_
#define FUZZ_READ_ALL_H_

#include <string>
#include <vector>

namespace qbfa_fuzz {

// The return code of every statement run, in order; empty when the open
// failed.
std::vector<int> ReadAll(const std::string& path);

}  // namespace qbfa_fuzz

#endif  // FUZZ_READ_ALL_H_
