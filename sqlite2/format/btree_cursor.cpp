#include "sqlite2/format/btree_cursor.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <utility>

#include "sqlite2/format/keys.h"
#include "sqlite2/format/payload.h"

namespace sqlite2::format {
namespace {

// What an order below means when a key cannot be read.
constexpr int kUnreadable = INT_MIN;

// Orders a cell's key, of which `prefix` holds the first bytes and
// `full_size` is the length, against `key`: -1, 0 or 1. `prefix` must
// hold at least min(full_size, key.size()) bytes.
int CompareKey(std::string_view prefix, uint32_t full_size, std::string_view key) {
  const size_t common = std::min<size_t>(full_size, key.size());
  const int c = common == 0 ? 0 : std::memcmp(prefix.data(), key.data(), common);
  if (c != 0) {
    return c < 0 ? -1 : 1;
  }
  if (full_size == key.size()) {
    return 0;
  }
  return full_size < key.size() ? -1 : 1;
}

// Binary search of `page` for the key sought, by `order(cell)`: how the
// cell's key compares with it (-1, 0 or 1), or kUnreadable. Sets `*equal`
// and `*index` to the cell holding that key, or `*index` to the first cell
// whose key is greater; false when a key is unreadable. The cells probed
// are the library's - it halves the range [low, high] rounding down and
// stops at the first equal key - so that cells a damaged file keeps out
// of order hide the same keys from it and from us.
template <typename Order>
bool FindCell(const BtreePage& page, const Order& order, size_t* index, bool* equal) {
  size_t low = 0, high = page.cells.size();  // cells [low, high) not yet ruled out
  while (low < high) {
    const size_t middle = low + (high - low - 1) / 2;
    const int c = order(page.cells[middle]);
    if (c == kUnreadable) {
      return false;
    }
    if (c == 0) {
      *index = middle;
      *equal = true;
      return true;
    }
    if (c < 0) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  *index = low;
  *equal = false;
  return true;
}

}  // namespace

void BtreeCursor::Rewind() {
  depth_ = 0;
  visited_.Clear();
  started_ = false;
  if (!error_.ok()) {
    error_ = Status::Ok();
  }
  key_ = data_ = {};
}

Status BtreeCursor::Fail(Status status) {
  error_ = status;
  key_ = data_ = {};
  return status;
}

Status BtreeCursor::Push(PageNumber number, bool is_root) {
  if (depth_ == kMaxDepth) {
    return Status::Corrupt();
  }
  // A page reached twice means a pointer cycle or a shared subtree.
  if (!visited_.Insert(number)) {
    return Status::Corrupt();
  }
  const BtreePage* page;
  Status status = pager_->GetBtreePage(number, is_root, &page);
  if (!status.ok()) {
    return status;
  }
  stack_[depth_++] = {page, 0, false};
  return Status::Ok();
}

Status BtreeCursor::SeekAtLeast(std::string_view key) {
  bool equal;
  return Descend(key, /*damage_is_absence=*/false, &equal);
}

Status BtreeCursor::SeekAtLeast(std::string_view key, bool* found) {
  Status status = Descend(key, /*damage_is_absence=*/true, found);
  if (!status.ok() || !*found) {
    return status;
  }
  // The descent stopped at the entry, which Next() yields first.
  return Next(found);
}

Status BtreeCursor::Descend(std::string_view key, bool damage_is_absence, bool* equal) {
  *equal = false;
  Rewind();
  started_ = true;
  const auto damaged = [&](Status status) {
    if (!damage_is_absence) {
      return Fail(std::move(status));
    }
    depth_ = 0;
    return Status::Ok();
  };
  // A 4-byte key, the rowid of every table lookup, compares as a number
  // with each cell's key head (btree_page.h).
  const bool rowid_key = key.size() == kRowidKeySize;
  const uint32_t wanted = rowid_key ? KeyHead(key) : 0;
  PageNumber number = root_;
  for (bool is_root = true;; is_root = false) {
    // A seek only descends, which the depth limit bounds; not recording its
    // path spares every lookup a set insertion per level. A walk that goes
    // on from here may then enter a page of that path once more before the
    // set (or the depth limit) catches it.
    if (depth_ == kMaxDepth) {
      return Fail(Status::Corrupt());
    }
    const BtreePage* page;
    if (Status status = pager_->GetBtreePage(number, is_root, &page); !status.ok()) {
      // The library checks the root as it opens the cursor, before any
      // lookup, so a damaged root fails the statement.
      return is_root ? Fail(std::move(status)) : damaged(std::move(status));
    }
    Frame& frame = stack_[depth_++];
    frame.page = page;
    // Everything left of the found cell is smaller than `key`.
    frame.child_done = true;
    if (rowid_key) {
      // The key head orders a cell exactly when the heads differ; when
      // they agree the shorter key is the smaller.
      FindCell(
          *page,
          [page, wanted](const Cell& cell) {
            const uint32_t head = page->key_head(cell);
            if (head != wanted) {
              return head < wanted ? -1 : 1;
            }
            return cell.key_size < kRowidKeySize ? -1 : cell.key_size > kRowidKeySize ? 1 : 0;
          },
          &frame.index, equal);
    } else {
      Status status;
      const auto order = [&](const Cell& cell) { return OrderKey(*page, cell, key, &status); };
      if (!FindCell(*page, order, &frame.index, equal)) {
        return damaged(std::move(status));
      }
    }
    if (*equal) {
      return Status::Ok();
    }
    number =
        frame.index < page->cells.size() ? page->cells[frame.index].left_child : page->right_child;
    if (number == 0) {
      return Status::Ok();
    }
  }
}

int BtreeCursor::OrderKey(const BtreePage& page, const Cell& cell, std::string_view key,
                          Status* error) {
  // The first min(key size, key.size()) bytes of the cell's key, from the
  // cell or, when they overflow, from its overflow pages.
  const uint32_t size = static_cast<uint32_t>(std::min<size_t>(cell.key_size, key.size()));
  std::string_view prefix(reinterpret_cast<const char*>(page.local_payload(cell)), size);
  if (size > cell.local_payload_size()) {
    payload_.clear();
    Status status = ReadPayload(*pager_, page, cell, size, &overflow_allowance_, &payload_);
    // The library's comparison fails where a chain ends before the bytes
    // compared.
    if (status.ok() && payload_.size() < size) {
      status = Status::Corrupt();
    }
    if (!status.ok()) {
      *error = std::move(status);
      return kUnreadable;
    }
    prefix = payload_;
  }
  return CompareKey(prefix, cell.key_size, key);
}

Status BtreeCursor::Next(bool* has_entry) {
  *has_entry = false;
  if (!error_.ok()) {
    return error_;
  }
  if (!started_) {
    started_ = true;
    Status status = Push(root_, /*is_root=*/true);
    if (!status.ok()) {
      return Fail(status);
    }
  }
  while (depth_ > 0) {
    Frame& frame = stack_[depth_ - 1];
    const size_t count = frame.page->cells.size();
    if (!frame.child_done) {
      frame.child_done = true;
      const PageNumber child =
          frame.index < count ? frame.page->cells[frame.index].left_child : frame.page->right_child;
      if (child != 0) {
        Status status = Push(child, /*is_root=*/false);
        if (!status.ok()) {
          return Fail(status);
        }
        continue;
      }
    }
    if (frame.index < count) {
      const Cell& cell = frame.page->cells[frame.index];
      ++frame.index;
      frame.child_done = false;
      Status status = LoadEntry(*frame.page, cell);
      if (!status.ok()) {
        return Fail(status);
      }
      *has_entry = true;
      return Status::Ok();
    }
    --depth_;
  }
  key_ = data_ = {};
  return Status::Ok();
}

Status BtreeCursor::MoveTo(Position position) {
  Rewind();
  started_ = true;
  Status status = LoadEntry(*position.page, position.page->cells[position.cell]);
  return status.ok() ? status : Fail(std::move(status));
}

Status BtreeCursor::LoadEntry(const BtreePage& page, const Cell& cell) {
  cell_ = &cell;
  std::string_view payload;
  if (cell.payload_size() <= kMaxLocalPayload) {
    payload = {reinterpret_cast<const char*>(page.local_payload(cell)), cell.payload_size()};
  } else {
    payload_.clear();
    Status status =
        ReadPayload(*pager_, page, cell, cell.payload_size(), &overflow_allowance_, &payload_);
    if (!status.ok()) {
      return status;
    }
    payload = payload_;
  }
  key_ = payload.substr(0, std::min<size_t>(cell.key_size, payload.size()));
  data_ = payload.substr(key_.size());
  return Status::Ok();
}

}  // namespace sqlite2::format
