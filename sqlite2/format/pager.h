// The pages of one database image as one snapshot (snapshot.h) sees them:
// the page count and page 1 taken once, at Refresh(), and every page read
// since then kept, with its decoded B-tree view, for as long as the pager
// lives. A snapshot holds its file lock for its whole life, so no page can
// change meanwhile; the next snapshot makes a pager of its own.
//
// Lifetime: every page and B-tree page handed out stays valid, unchanged,
// until the pager is destroyed. Cursors hold plain pointers into it, so a
// cursor must not outlive its pager; every cursor lives inside a statement
// (or an automatic index) that holds the snapshot owning the pager.
#ifndef SQLITE2_FORMAT_PAGER_H_
#define SQLITE2_FORMAT_PAGER_H_

#include "sqlite2/format/btree_page.h"
#include "sqlite2/format/file_header.h"
#include "sqlite2/format/half_checked_pages.h"
#include "sqlite2/format/page.h"
#include "sqlite2/format/page_cache.h"
#include "sqlite2/format/page_source.h"
#include "sqlite2/status.h"

namespace sqlite2::format {

class Pager {
 public:
  // `source`, and `half_checked` when given, must outlive the pager. With
  // `half_checked`, a page that fails its check is noted there and, met
  // again, taken with the cells it lists, as the library takes it; without
  // it, such a page fails every time.
  explicit Pager(PageSource* source, HalfCheckedPages* half_checked = nullptr)
      : source_(source), half_checked_(half_checked) {}
  Pager(const Pager&) = delete;
  Pager& operator=(const Pager&) = delete;

  // Reads the page count and decodes page 1; called once, before any page
  // is read. Fails as FileHeader::DecodeFrom does; a file shorter than one
  // page is an empty database.
  Status Refresh();

  uint32_t page_count() const { return page_count_; }
  const FileHeader& header() const { return header_; }
  ByteOrder byte_order() const { return header_.byte_order; }

  // Page `number`; a page beyond the end is all zeros. Page 0 is corrupt.
  Status GetPage(PageNumber number, const Page** out);

  // Page `number` decoded and checked as a B-tree page (see
  // BtreePage::DecodeFrom), decoded once: every seek passes through the
  // same few interior pages, and lookups nested in a scan come back to
  // the same leaves. A page that fails its check is not kept; met again,
  // it fails again or, when `half_checked` holds it, passes as it is. A
  // page without cells passes as a root only.
  Status GetBtreePage(PageNumber number, bool is_root, const BtreePage** out) {
    // The pages of a seek are nearly always decoded already.
    if (number != 0 && number <= page_count_) {
      const BtreePage* tree = cache_.TreeAt(number);
      if (tree != nullptr && (is_root || !tree->cells.empty())) {
        *out = tree;
        return Status::Ok();
      }
    }
    return LoadBtreePage(number, is_root, out);
  }

  // How many times a page has failed its check here. A page that the
  // library then goes on using fails once only.
  uint64_t check_failures() const { return check_failures_; }

 private:
  Status LoadBtreePage(PageNumber number, bool is_root, const BtreePage** out);
  // Whether page `number`, which failed its check, is taken as it is
  // (see HalfCheckedPages); notes the failure when it is not.
  bool UsesDespiteFailure(PageNumber number, const Page& bytes, bool is_root);
  // Reads page `number` (<= page_count_) into its slab.
  Status ReadInto(PageCache::Slab& slab, PageNumber number);

  PageSource* source_;
  HalfCheckedPages* half_checked_;
  uint64_t check_failures_ = 0;
  uint32_t page_count_ = 0;
  FileHeader header_;
  PageCache cache_;
};

}  // namespace sqlite2::format

#endif  // SQLITE2_FORMAT_PAGER_H_
