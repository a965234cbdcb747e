#include "sqlite2/format/pager.h"

#include <algorithm>

namespace sqlite2::format {
namespace {

const Page kZeros{};

// A page beyond the end, read as a root: an empty tree.
const BtreePage kBlankRoot{&kZeros, 0, {}};

}  // namespace

Status Pager::Refresh() {
  Status status = source_->CountPages(&page_count_);
  if (!status.ok()) {
    return status;
  }
  // A file shorter than one page holds no header: it is an empty database.
  if (page_count_ == 0) {
    return FileHeader::DecodeFrom(nullptr, &header_);
  }
  const Page* page1;
  status = GetPage(1, &page1);
  if (!status.ok()) {
    return status;
  }
  return FileHeader::DecodeFrom(page1, &header_);
}

Status Pager::GetPage(PageNumber number, const Page** out) {
  if (number == 0) {
    return Status::Corrupt();
  }
  if (number > page_count_) {
    *out = &kZeros;
    return Status::Ok();
  }
  PageCache::Slab& slab = cache_.SlabOf(number);
  const size_t index = PageCache::SlabIndex(number);
  if (!slab.read[index]) {
    Status status = ReadInto(slab, number);
    if (!status.ok()) {
      return status;
    }
  }
  *out = &slab.pages[index];
  return Status::Ok();
}

Status Pager::ReadInto(PageCache::Slab& slab, PageNumber number) {
  const size_t index = PageCache::SlabIndex(number);
  // The first page wanted from a slab brings the slab's other pages in the
  // file along in the same read: a walk of a tree goes on to its
  // neighbours, and one read costs about what one page's does.
  if (std::none_of(slab.read.begin(), slab.read.end(), [](bool read) { return read; })) {
    const PageNumber first = static_cast<PageNumber>(number - index);
    const size_t count = std::min<size_t>(PageCache::kSlabPages, page_count_ - first + size_t{1});
    if (source_->ReadPages(first, count, slab.pages.data()).ok()) {
      std::fill_n(slab.read.begin(), count, true);
      return Status::Ok();
    }
  }
  // Page by page once that has failed, so that a page that cannot be read
  // fails only itself.
  Status status = source_->ReadPage(number, &slab.pages[index]);
  if (!status.ok()) {
    return status;
  }
  slab.read[index] = true;
  return Status::Ok();
}

Status Pager::LoadBtreePage(PageNumber number, bool is_root, const BtreePage** out) {
  if (number == 0) {
    return Status::Corrupt();
  }
  if (number > page_count_) {
    if (!is_root) {
      return Status::Corrupt();
    }
    *out = &kBlankRoot;
    return Status::Ok();
  }
  const BtreePage* tree = cache_.TreeAt(number);
  if (tree == nullptr) {
    const Page* bytes;
    Status status = GetPage(number, &bytes);
    if (!status.ok()) {
      return status;
    }
    const PageCache::TreeRoom room = cache_.NextTreeRoom();
    status = BtreePage::DecodeFrom(*bytes, header_.byte_order, room.cells, room.tree);
    if (!status.ok() && !UsesDespiteFailure(number, *bytes, is_root)) {
      return status;
    }
    tree = cache_.KeepTree(number, room);
  }
  // A page without cells passes as a root only.
  if (!is_root && tree->cells.empty()) {
    return Status::Corrupt();
  }
  *out = tree;
  return Status::Ok();
}

bool Pager::UsesDespiteFailure(PageNumber number, const Page& bytes, bool is_root) {
  if (half_checked_ != nullptr && half_checked_->Contains(number, bytes)) {
    return true;
  }
  if (half_checked_ != nullptr) {
    half_checked_->Add(number, bytes, is_root);
  }
  ++check_failures_;
  return false;
}

}  // namespace sqlite2::format
