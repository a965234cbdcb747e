#include "sqlite2/automatic_index.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <functional>
#include <optional>

#include "sqlite2/format/record.h"

namespace sqlite2 {
namespace {

using Kind = sql::EqualityClass::Kind;

uint64_t HashBytes(std::string_view bytes) {
  return std::hash<std::string_view>{}(bytes);
}

// Numbers and non-numbers are never equal; keep their hashes apart where
// that is cheap.
constexpr uint64_t kNumberTag = 0x9e3779b97f4a7c15u;

// Equal classes hash alike; kEveryNumber has no hash of its own.
uint64_t HashOf(const sql::EqualityClass& value) {
  if (value.kind == Kind::kBytes)
    return HashBytes(value.bytes);
  char bits[sizeof value.number];
  std::memcpy(bits, &value.number, sizeof bits);
  return HashBytes(std::string_view(bits, sizeof bits)) ^ kNumberTag;
}

}  // namespace

std::unique_ptr<AutomaticIndex> AutomaticIndex::Build(format::TableCursor* rows, size_t column,
                                                      bool numeric) {
  std::unique_ptr<AutomaticIndex> index(new AutomaticIndex(numeric));
  // A scan reads only the column it tests from each row.
  std::optional<std::string_view> value;
  for (uint32_t order = 0;; ++order) {
    bool has_row = false;
    Status status = rows->Next(&has_row);
    if (status.ok() && has_row)
      status = format::DecodeColumn(rows->record(), column, &value);
    if (!status.ok()) {
      index->error_ = std::move(status);
      break;
    }
    if (!has_row)
      break;
    if (!value)
      continue;  // NULL equals nothing
    const sql::EqualityClass equality = sql::EqualityClassOf(*value, numeric);
    if (equality.kind == Kind::kEveryNumber) {
      index->every_number_.push_back(EntryOf(0, rows->position(), order));
    } else {
      index->entries_.push_back(EntryOf(HashOf(equality), rows->position(), order));
    }
  }
  std::sort(index->entries_.begin(), index->entries_.end(), [](const Entry& a, const Entry& b) {
    return a.hash != b.hash ? a.hash < b.hash : a.order < b.order;
  });
  index->MakeBuckets();
  return index;
}

void AutomaticIndex::MakeBuckets() {
  // About one bucket per entry, and at least two.
  const int bits = std::bit_width(entries_.size() | 1);
  bucket_shift_ = 64 - bits;
  buckets_.resize((size_t{1} << bits) + 1);
  size_t next = 0;
  for (size_t bucket = 0; bucket < buckets_.size(); ++bucket) {
    while (next < entries_.size() && (entries_[next].hash >> bucket_shift_) < bucket)
      ++next;
    buckets_[bucket] = static_cast<uint32_t>(next);
  }
}

bool AutomaticIndex::Find(std::string_view literal, std::vector<RowPosition>* rows) const {
  const sql::EqualityClass equality = sql::EqualityClassOf(literal, numeric_);
  if (equality.kind == Kind::kEveryNumber)
    return false;
  const uint64_t hash = HashOf(equality);
  const auto by_hash = [](const Entry& entry, uint64_t h) { return entry.hash < h; };
  const size_t bucket = hash >> bucket_shift_;
  auto it = std::lower_bound(entries_.begin() + buckets_[bucket],
                             entries_.begin() + buckets_[bucket + 1], hash, by_hash);
  auto end = it;
  while (end != entries_.end() && end->hash == hash)
    ++end;
  // Values equal to every number are candidates for any number; merged in
  // so that the rows keep their scan order.
  auto every = equality.IsNumber() ? every_number_.begin() : every_number_.end();
  while (it != end || every != every_number_.end()) {
    const bool from_every = every != every_number_.end() && (it == end || every->order < it->order);
    rows->push_back(from_every ? every++->row() : it++->row());
  }
  return true;
}

}  // namespace sqlite2
