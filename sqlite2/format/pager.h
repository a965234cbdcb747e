// The pages of one database image as a statement sees them: the page count
// and page 1 taken once at Refresh(), and every page read since then cached
// until the next Refresh() or DropCache(). Another process may change the
// file between statements, so the caller refreshes at the start of each
// statement (after taking its lock) and drops the cache when it ends.
#ifndef SQLITE2_FORMAT_PAGER_H_
#define SQLITE2_FORMAT_PAGER_H_

#include <memory>
#include <unordered_map>

#include "sqlite2/format/btree_page.h"
#include "sqlite2/format/file_header.h"
#include "sqlite2/format/page.h"
#include "sqlite2/format/page_source.h"
#include "sqlite2/status.h"

namespace sqlite2::format {

class Pager {
 public:
  // `source` must outlive the pager.
  explicit Pager(PageSource* source) : source_(source) {}

  // Drops the cache, re-reads the page count and decodes page 1. Fails as
  // FileHeader::DecodeFrom does; a file shorter than one page is an empty
  // database.
  Status Refresh();
  void DropCache() {
    cache_.clear();
    decoded_.clear();
  }

  uint32_t page_count() const { return page_count_; }
  const FileHeader& header() const { return header_; }
  ByteOrder byte_order() const { return header_.byte_order; }

  // Page `number`; a page beyond the end is all zeros. Page 0 is corrupt.
  Status GetPage(PageNumber number, PageRef* out);

  // B-tree pages, decoded and checked, until the cache is dropped. Every
  // seek in a tree passes through the same few interior pages, and the
  // font reader's lookups come back to the same leaves, so keeping them
  // spares each lookup its decoding; a decoded page costs a fraction of
  // its bytes, which the page cache holds anyway.
  std::shared_ptr<const BtreePage> FindDecoded(PageNumber number) const;
  void KeepDecoded(std::shared_ptr<const BtreePage> page);

 private:
  PageSource* source_;
  uint32_t page_count_ = 0;
  FileHeader header_;
  std::unordered_map<PageNumber, PageRef> cache_;
  std::unordered_map<PageNumber, std::shared_ptr<const BtreePage>> decoded_;
};

}  // namespace sqlite2::format

#endif  // SQLITE2_FORMAT_PAGER_H_
