// A forward cursor over the entries of one B-tree in ascending key order.
//
// The walk visits, for each cell of a page in list order, the cell's left
// subtree and then the cell itself, and the page's right subtree last. It
// keeps the path from the root on an explicit stack. A damaged file must not
// hang or crash the process, so a page reached a second time (a child
// pointer back to an ancestor, or two pointers to one page) and a path
// deeper than kMaxDepth are corrupt. So is reading more overflow pages than
// OverflowBudget() allows: in a sound file every overflow page belongs to one
// cell, so a cursor reads each about once, while a hostile file can make
// thousands of cells share one long chain, or a looping chain stand for
// megabytes, and a scan copy far more than the file holds. Entries yielded
// before the damaged spot stay yielded: the error comes from the Next()
// call that reaches it, and every later call repeats it.
//
// An entry's key and data are read as the library reads them (payload.h):
// a broken overflow chain is no error, it just holds fewer bytes than the
// cell claims.
//
// Keys compare as unsigned bytes over the shorter length, the shorter key
// being smaller when that prefix is equal.
#ifndef SQLITE2_FORMAT_BTREE_CURSOR_H_
#define SQLITE2_FORMAT_BTREE_CURSOR_H_

#include <array>
#include <string>
#include <string_view>

#include "sqlite2/format/btree_page.h"
#include "sqlite2/format/page_set.h"
#include "sqlite2/format/pager.h"
#include "sqlite2/status.h"

namespace sqlite2::format {

class BtreeCursor {
 public:
  // Far beyond any real tree (about 3 levels hold 5,000 rows).
  static constexpr size_t kMaxDepth = 40;

  // Overflow pages one cursor may read in its life: each page of the file
  // twice (a rewound scan), and room for the key comparisons of seeks.
  static uint64_t OverflowBudget(uint32_t page_count) { return 2 * uint64_t{page_count} + 1024; }

  // `pager`, refreshed already, must outlive the cursor (see pager.h). The
  // cursor starts before the first entry.
  BtreeCursor(Pager* pager, PageNumber root)
      : pager_(pager), root_(root), overflow_allowance_(OverflowBudget(pager->page_count())) {}

  // Where an entry is: a cell of a page the pager keeps, so valid for as
  // long as the pager.
  struct Position {
    const BtreePage* page;
    uint32_t cell;
  };

  // Positions before the first entry.
  void Rewind();
  // Positions before the first entry whose key is >= `key`.
  Status SeekAtLeast(std::string_view key);
  // The lookup of one entry: an entry whose key equals `key` is moved onto
  // at once, as Next() would, and `*found` says whether there is one. As
  // in the library's lookups, a page below the root that cannot be used
  // (damaged, missing or empty) or a key that cannot be read means there
  // is none, not an error; the cursor then yields nothing more. A damaged
  // root fails, and so does a descent deeper than kMaxDepth, a loop on
  // which the library never returns.
  Status SeekAtLeast(std::string_view key, bool* found);
  // Moves to the next entry; `*has_entry` is false at the end.
  Status Next(bool* has_entry);
  // Where the entry that Next() just yielded is.
  Position position() const {
    const Frame& frame = stack_[depth_ - 1];
    return {frame.page, static_cast<uint32_t>(frame.index - 1)};
  }
  // Moves to the entry at `position`, which a walk of this cursor's tree
  // passed; Next() finds no entry after it.
  Status MoveTo(Position position);

  // For damage the caller finds in the current entry (a key of the wrong
  // shape): the cursor fails from now on as if a page were damaged.
  Status FailCorrupt() { return Fail(Status::Corrupt()); }

  // The current entry's cell, and its key and data as far as the cell and
  // its overflow chain hold them: all of key_size and data_size bytes
  // unless the chain is broken. Valid until the next call that moves the
  // cursor.
  const Cell& cell() const { return *cell_; }
  std::string_view key() const { return key_; }
  std::string_view data() const { return data_; }

 private:
  // Left uninitialised until pushed: a cursor is made for every lookup.
  struct Frame {
    const BtreePage* page;  // owned by the pager
    size_t index;           // the cell to yield next (cells.size(): none left)
    bool child_done;        // whether the subtree left of `index` was walked
  };

  Status Fail(Status status);
  // Positions before the first entry whose key is >= `key`, stopping at
  // the first page that holds `key` itself, where `*equal` is then set.
  // With `damage_is_absence`, a page or key that cannot be read ends the
  // descent there with `*equal` false rather than failing.
  Status Descend(std::string_view key, bool damage_is_absence, bool* equal);
  // Loads, checks and enters page `number` in a walk; entering it again in
  // the same walk is corrupt.
  Status Push(PageNumber number, bool is_root);
  // How the key of `cell` compares with `key`: -1, 0 or 1, reading overflow
  // pages where the bytes compared need them; when that fails, INT_MIN
  // with the failure in `*error`.
  int OrderKey(const BtreePage& page, const Cell& cell, std::string_view key, Status* error);
  Status LoadEntry(const BtreePage& page, const Cell& cell);

  Pager* pager_;
  PageNumber root_;
  std::array<Frame, kMaxDepth> stack_;
  size_t depth_ = 0;  // frames in use
  PageSet visited_;
  bool started_ = false;
  Status error_;
  const Cell* cell_ = nullptr;
  std::string_view key_;
  std::string_view data_;
  // Holds key_ and data_ when the payload overflows, and in a seek the key
  // prefix being compared when that overflows.
  std::string payload_;
  uint64_t overflow_allowance_;  // never topped up: the budget is per cursor
};

}  // namespace sqlite2::format

#endif  // SQLITE2_FORMAT_BTREE_CURSOR_H_
