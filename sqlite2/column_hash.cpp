#include "sqlite2/column_hash.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <functional>
#include <string>

#include "sqlite2/format/record.h"
#include "sqlite2/format/table_cursor.h"
#include "sqlite2/sql/numbers.h"

namespace sqlite2 {
namespace {

uint64_t HashBytes(std::string_view bytes) {
  return std::hash<std::string_view>{}(bytes);
}

// Numbers and non-numbers never compare equal; keep their hashes apart
// where that is cheap.
constexpr uint64_t kNumberTag = 0x9e3779b97f4a7c15u;

}  // namespace

std::unique_ptr<ColumnHash> ColumnHash::Build(format::Pager* pager, const TableInfo& table,
                                              size_t column, bool numeric) {
  std::unique_ptr<ColumnHash> hash(new ColumnHash(numeric));
  const uint64_t check_failures = pager->check_failures();
  format::TableCursor rows(pager, table.root);
  // The library's scan reads only the column it tests from each row.
  std::optional<std::string_view> value;
  for (uint32_t order = 0;; ++order) {
    bool has_row = false;
    Status status = rows.Next(&has_row);
    if (status.ok() && has_row) {
      status = format::DecodeColumn(rows.record(), column, &value);
    }
    if (!status.ok()) {
      hash->error_ = std::move(status);
      hash->ended_on_new_damage_ = pager->check_failures() != check_failures;
      break;
    }
    if (!has_row) {
      break;
    }
    if (!value) {
      continue;  // NULL equals nothing
    }
    const Position at = rows.position();
    Entry entry{0, at.page, at.cell, order};
    if (hash->HashOf(*value, &entry.hash)) {
      hash->entries_.push_back(entry);
    } else {
      hash->wildcards_.push_back(entry);
    }
  }
  std::sort(hash->entries_.begin(), hash->entries_.end(), [](const Entry& a, const Entry& b) {
    return a.hash != b.hash ? a.hash < b.hash : a.order < b.order;
  });
  hash->MakeBuckets();
  return hash;
}

void ColumnHash::MakeBuckets() {
  // About one bucket per entry, and at least two.
  const int bits = std::bit_width(entries_.size() | 1);
  bucket_shift_ = 64 - bits;
  buckets_.resize((size_t{1} << bits) + 1);
  size_t next = 0;
  for (size_t bucket = 0; bucket < buckets_.size(); ++bucket) {
    while (next < entries_.size() && (entries_[next].hash >> bucket_shift_) < bucket) {
      ++next;
    }
    buckets_[bucket] = static_cast<uint32_t>(next);
  }
}

bool ColumnHash::HashOf(std::string_view value, uint64_t* hash) const {
  if (!numeric_ || !sql::LooksLikeNumber(value)) {
    *hash = HashBytes(value);
    return true;
  }
  double number = sql::AtoF(value);
  if (std::isnan(number)) {
    return false;
  }
  // -0 equals 0 but has other bits.
  if (number == 0) {
    number = 0;
  }
  char bits[sizeof number];
  std::memcpy(bits, &number, sizeof number);
  *hash = HashBytes(std::string_view(bits, sizeof bits)) ^ kNumberTag;
  return true;
}

bool ColumnHash::Find(std::string_view literal, std::vector<Position>* rows) const {
  uint64_t hash;
  if (!HashOf(literal, &hash)) {
    return false;
  }
  const auto by_hash = [](const Entry& entry, uint64_t h) { return entry.hash < h; };
  const size_t bucket = hash >> bucket_shift_;
  auto it = std::lower_bound(entries_.begin() + buckets_[bucket],
                             entries_.begin() + buckets_[bucket + 1], hash, by_hash);
  auto end = it;
  while (end != entries_.end() && end->hash == hash) {
    ++end;
  }
  // Values that equal every number are candidates for any number; merge
  // them in so the rows keep their scan order.
  const bool with_wildcards = numeric_ && sql::LooksLikeNumber(literal);
  auto wild = with_wildcards ? wildcards_.begin() : wildcards_.end();
  while (it != end || wild != wildcards_.end()) {
    const Entry& entry =
        wild == wildcards_.end() || (it != end && it->order < wild->order) ? *it++ : *wild++;
    rows->push_back({entry.page, entry.cell});
  }
  return true;
}

const ColumnHash& ColumnHashes::Get(format::Pager* pager, const TableInfo& table, size_t column,
                                    bool numeric) {
  std::unique_ptr<ColumnHash>& hash = hashes_[{&table, column, numeric}];
  if (hash == nullptr || hash->ended_on_new_damage()) {
    hash = ColumnHash::Build(pager, table, column, numeric);
  }
  return *hash;
}

}  // namespace sqlite2
