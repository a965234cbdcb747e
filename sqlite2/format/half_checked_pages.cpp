#include "sqlite2/format/half_checked_pages.h"

namespace sqlite2::format {

bool HalfCheckedPages::Holds(const Pages& pages, PageNumber number, const Page& bytes) {
  const auto at = pages.find(number);
  return at != pages.end() && at->second == bytes;
}

bool HalfCheckedPages::Contains(PageNumber number, const Page& bytes) const {
  return Holds(this_statement_, number, bytes) || Holds(kept_, number, bytes);
}

void HalfCheckedPages::Add(PageNumber number, const Page& bytes, bool is_root) {
  this_statement_.insert_or_assign(number, bytes);
  cache_kept_ = cache_kept_ || !is_root;
}

void HalfCheckedPages::EndStatement() {
  if (cache_kept_) {
    for (auto& [number, bytes] : this_statement_) {
      kept_.insert_or_assign(number, bytes);
    }
  }
  this_statement_.clear();
}

}  // namespace sqlite2::format
