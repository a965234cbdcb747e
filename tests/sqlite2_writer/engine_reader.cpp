#include "tests/sqlite2_writer/engine_reader.h"

#include "sqlite2/format/btree_cursor.h"
#include "sqlite2/format/pager.h"
#include "tests/sqlite2/format/test_image.h"

namespace sqlite2::writer::testing {

Status ReadTree(const std::vector<uint8_t>& image, format::PageNumber root,
                std::vector<std::pair<std::string, std::string>>* entries) {
  format::testing::MemoryPageSource source(std::string(image.begin(), image.end()));
  format::Pager pager(&source);
  if (Status status = pager.Refresh(); !status.ok())
    return status;
  format::BtreeCursor cursor(&pager, root);
  for (;;) {
    bool has_entry = false;
    if (Status status = cursor.Next(&has_entry); !status.ok())
      return status;
    if (!has_entry)
      return Status::Ok();
    entries->emplace_back(cursor.key(), cursor.data());
  }
}

}  // namespace sqlite2::writer::testing
