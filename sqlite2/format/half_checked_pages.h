// The B-tree pages a connection has seen fail their check and still uses.
//
// The library marks a page of its cache as decoded before it checks it,
// and a failed check leaves that mark on the page, with the cells it had
// listed before it found the damage (see BtreePage::DecodeFrom). For as
// long as the page stays cached, every statement that meets it again
// takes it as it is, so the statement that fails on a damaged leaf is
// often the only one that does. The cache goes when the outermost
// statement ends - except that a failed descent to a child page keeps its
// hold on that page forever, and with it the whole cache: from then on
// the connection keeps every page it failed.
//
// Pages are known by number and content, so a page that another process
// has since rewritten is checked afresh.
#ifndef SQLITE2_FORMAT_HALF_CHECKED_PAGES_H_
#define SQLITE2_FORMAT_HALF_CHECKED_PAGES_H_

#include <unordered_map>

#include "sqlite2/format/page.h"

namespace sqlite2::format {

class HalfCheckedPages {
 public:
  // Whether page `number`, holding `bytes`, failed its check before and is
  // still in the library's cache.
  bool Contains(PageNumber number, const Page& bytes) const;
  // Page `number`, holding `bytes`, failed its check just now, as the root
  // of a tree or as a child reached from another page.
  void Add(PageNumber number, const Page& bytes, bool is_root);
  // The outermost statement ended, and with it the cache unless a failed
  // child keeps it.
  void EndStatement();

 private:
  using Pages = std::unordered_map<PageNumber, Page>;
  static bool Holds(const Pages& pages, PageNumber number, const Page& bytes);

  Pages kept_;            // for the life of the connection
  Pages this_statement_;  // until the outermost statement ends
  bool cache_kept_ = false;
};

}  // namespace sqlite2::format

#endif  // SQLITE2_FORMAT_HALF_CHECKED_PAGES_H_
