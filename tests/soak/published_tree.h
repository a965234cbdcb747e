// What the plug-in publishes for a database: its own reader, run in this
// process on a copy of the file, so that the soak knows each committed
// state's tree exactly as the host will read it.
#ifndef TESTS_SOAK_PUBLISHED_TREE_H_
#define TESTS_SOAK_PUBLISHED_TREE_H_

#include <cstdint>
#include <string>
#include <vector>

namespace qbfa_soak {

// The XML the plug-in publishes for the database file `image`, read from a
// copy written at `scratch`. The reader expands "~" in font paths with
// HOME, so this process must have the host's. Throws std::runtime_error
// when the copy cannot be written or read.
std::string PublishedTree(const std::vector<uint8_t>& image, const std::string& scratch);

}  // namespace qbfa_soak

#endif  // TESTS_SOAK_PUBLISHED_TREE_H_
