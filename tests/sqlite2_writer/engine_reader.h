// Reading what the writer produced back through the engine's own B-tree
// cursor, which checks every page it loads the way the library does.
#ifndef TESTS_SQLITE2_WRITER_ENGINE_READER_H_
#define TESTS_SQLITE2_WRITER_ENGINE_READER_H_

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "sqlite2/format/page.h"
#include "sqlite2/status.h"

namespace sqlite2::writer::testing {

// Every entry (key, data) of the tree rooted at `root`, in key order.
Status ReadTree(const std::vector<uint8_t>& image, format::PageNumber root,
                std::vector<std::pair<std::string, std::string>>* entries);

}  // namespace sqlite2::writer::testing

#endif  // TESTS_SQLITE2_WRITER_ENGINE_READER_H_
