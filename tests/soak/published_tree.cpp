#include "tests/soak/published_tree.h"

#include <fstream>
#include <stdexcept>

#include "platform/xml.h"
#include "reader/set_reader.h"
#include "sqlite2/sqlite.h"
#include "state.h"

namespace qbfa_soak {

std::string PublishedTree(const std::vector<uint8_t>& image, const std::string& scratch) {
  {
    std::ofstream file(scratch, std::ios::binary | std::ios::trunc);
    if (!file.write(reinterpret_cast<const char*>(image.data()),
                    static_cast<std::streamsize>(image.size())) ||
        !file.flush()) {
      throw std::runtime_error("cannot write " + scratch);
    }
  }
  // Opened here: without a connection the reader would look for the
  // database where the plug-in does, and find the host's.
  db = sqlite_open(scratch.c_str(), 0, nullptr);
  if (db == nullptr)
    throw std::runtime_error("cannot open " + scratch);
  const cf::Ref<cf::Array> sets = QBFA_CopyFontSets();  // closes db
  std::optional<cf::Data> xml = sets ? CFPropertyListCreateXMLData(sets.get()) : std::nullopt;
  if (!xml)
    throw std::runtime_error("the plug-in's reader gives no tree for " + scratch);
  return std::string(*xml);
}

}  // namespace qbfa_soak
