#include "sqlite2/format/pager.h"

#include <memory>

namespace sqlite2::format {

Status Pager::Refresh() {
  DropCache();
  page_count_ = 0;
  header_ = FileHeader();
  Status status = source_->CountPages(&page_count_);
  if (!status.ok()) {
    return status;
  }
  // A file shorter than one page holds no header: it is an empty database.
  if (page_count_ == 0) {
    return FileHeader::DecodeFrom(nullptr, &header_);
  }
  PageRef page1;
  status = GetPage(1, &page1);
  if (!status.ok()) {
    return status;
  }
  return FileHeader::DecodeFrom(page1.get(), &header_);
}

Status Pager::GetPage(PageNumber number, PageRef* out) {
  if (number == 0) {
    return Status::Corrupt();
  }
  if (number > page_count_) {
    static const PageRef zeros = std::make_shared<const Page>();
    *out = zeros;
    return Status::Ok();
  }
  auto it = cache_.find(number);
  if (it != cache_.end()) {
    *out = it->second;
    return Status::Ok();
  }
  auto page = std::make_shared<Page>();
  Status status = source_->ReadPage(number, page.get());
  if (!status.ok()) {
    return status;
  }
  *out = cache_.emplace(number, std::move(page)).first->second;
  return Status::Ok();
}

std::shared_ptr<const BtreePage> Pager::FindDecoded(PageNumber number) const {
  auto it = decoded_.find(number);
  return it == decoded_.end() ? nullptr : it->second;
}

void Pager::KeepDecoded(std::shared_ptr<const BtreePage> page) {
  decoded_[page->number] = std::move(page);
}

}  // namespace sqlite2::format
