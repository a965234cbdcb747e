#include "sqlite2/query.h"

#include <algorithm>
#include <charconv>
#include <iterator>

#include "sqlite2/format/keys.h"
#include "sqlite2/sql/compare.h"

namespace sqlite2 {

using sql::CompareOp;
using ExprKind = sql::Expr::Kind;

namespace {

Status BadRootPage() {
  return Status::Error(SQLITE_INTERNAL, "root page number less than 2");
}

bool StartsWith(std::string_view key, std::string_view prefix) {
  return key.starts_with(prefix);
}

// Whether any of the first `count` fields of an index key is NULL.
bool HasNullField(std::string_view key, size_t count) {
  size_t pos = 0;
  for (size_t i = 0; i < count && pos < key.size(); ++i) {
    if (key[pos] == 'a')
      return true;
    const size_t end = key.find('\0', pos);
    if (end == std::string_view::npos)
      return false;
    pos = end + 1;
  }
  return false;
}

}  // namespace

Query::Query() = default;
Query::~Query() = default;

void Query::Start(const PreparedSelect& statement, std::span<const LiteralValue> literals,
                  Snapshot* snapshot, bool may_build_index) {
  statement_ = &statement;
  table_ = statement.table();
  if (table_ != nullptr && values_.size() < table_->columns.size())
    values_.resize(table_->columns.size());
  literals_ = literals;
  snapshot_ = snapshot;
  may_build_index_ = may_build_index;
  ChooseAccess();
}

void Query::Finish() {
  statement_ = nullptr;
  table_ = nullptr;
  literals_ = {};
  snapshot_ = nullptr;
  may_build_index_ = false;
  access_ = Access::kScan;
  rowid_ = 0;
  prefix_.clear();
  lower_.reset();
  upper_.reset();
  rows_.reset();
  index_.reset();
  candidates_.clear();
  next_candidate_ = 0;
  after_candidates_ = Status::Ok();
  started_ = false;
  finished_ = false;
  error_ = Status::Ok();
  column_error_ = Status::Ok();
}

void Query::ChooseAccess() {
  const Plan& plan = statement_->plan();
  switch (plan.access) {
    case Plan::Access::kNoTable:
      access_ = Access::kNoTable;
      return;
    case Plan::Access::kRowid: {
      const std::optional<int32_t> rowid = sql::RowidFromLiteral(literals_[plan.rowid_slot]);
      access_ = rowid ? Access::kRowid : Access::kNothing;
      rowid_ = rowid.value_or(0);
      return;
    }
    case Plan::Access::kIndex:
      ChooseIndexRange();
      return;
    case Plan::Access::kScan:
      access_ = plan.automatic_index && may_build_index_ ? Access::kAutomaticIndex : Access::kScan;
      return;
  }
}

void Query::ChooseIndexRange() {
  const Plan& plan = statement_->plan();
  access_ = Access::kIndex;
  bool null_bound = false;
  auto append = [&](size_t slot, size_t field, std::string* key) {
    const LiteralValue& literal = literals_[slot];
    null_bound = null_bound || !literal.has_value();
    format::AppendIndexField(literal, table_->columns[plan.index->columns[field]].text, key);
  };
  for (size_t i = 0; i < plan.equal_slots.size(); ++i)
    append(plan.equal_slots[i], i, &prefix_);
  const size_t range_field = plan.equal_slots.size();
  if (plan.upper) {
    upper_ = prefix_;
    append(plan.upper->slot, range_field, &*upper_);
  }
  if (plan.lower) {
    lower_ = prefix_;
    append(plan.lower->slot, range_field, &*lower_);
  }
  // A NULL bound matches nothing.
  if (null_bound)
    access_ = Access::kNothing;
}

Status Query::Step(bool* has_row) {
  *has_row = false;
  if (!error_.ok())
    return error_;
  const auto fail = [this](Status status) {
    error_ = std::move(status);
    finished_ = true;
    return error_;
  };
  while (!finished_) {
    bool loaded = false;
    if (Status status = Advance(&loaded); !status.ok())
      return fail(std::move(status));
    if (!loaded) {
      finished_ = true;
      break;
    }
    const auto& filters = statement_->filters();
    const bool passes = std::all_of(filters.begin(), filters.end(),
                                    [this](const auto& term) { return Evaluate(*term) == true; });
    if (!column_error_.ok())
      return fail(column_error_);
    if (!passes)
      continue;
    if (Status status = format::DecodeColumns(record_, statement_->result_columns(), &values_);
        !status.ok())
      return fail(std::move(status));
    const std::vector<Operand>& results = statement_->results();
    row_.resize(results.size());
    for (size_t i = 0; i < results.size(); ++i) {
      const Operand& operand = results[i];
      row_[i] =
          operand.source == Operand::Source::kColumn ? values_[operand.column] : Value(operand);
    }
    *has_row = true;
    return Status::Ok();
  }
  return Status::Ok();
}

Status Query::Advance(bool* loaded) {
  *loaded = false;
  const bool first = !started_;
  started_ = true;
  switch (access_) {
    case Access::kNoTable:
      *loaded = first;
      return Status::Ok();
    case Access::kNothing:
      return Status::Ok();
    default:
      break;
  }
  if (!table_->in_file)
    return Status::Ok();
  if (table_->root < 2)
    return BadRootPage();
  if (first)
    rows_.emplace(snapshot_->pager(), table_->root);

  if (access_ == Access::kScan) {
    if (Status status = rows_->Next(loaded); !status.ok() || !*loaded)
      return status;
    LoadRow(rows_->rowid(), rows_->record());
    return Status::Ok();
  }
  if (access_ == Access::kAutomaticIndex)
    return AdvanceAutomaticIndex(first, loaded);
  if (access_ == Access::kRowid) {
    if (!first)
      return Status::Ok();
    if (Status status = rows_->SeekRowid(rowid_, loaded); !status.ok() || !*loaded)
      return status;
    LoadRow(rows_->rowid(), rows_->record());
    return Status::Ok();
  }
  return AdvanceIndex(loaded);
}

Status Query::AdvanceIndex(bool* loaded) {
  const Plan& plan = statement_->plan();
  if (!index_) {
    if (plan.index->root < 2)
      return BadRootPage();
    index_.emplace(snapshot_->pager(), plan.index->root);
    const std::string& start = lower_ ? *lower_ : prefix_;
    if (Status status = index_->SeekAtLeast(start); !status.ok())
      return status;
  }
  for (;;) {
    bool has_entry = false;
    if (Status status = index_->Next(&has_entry); !status.ok() || !has_entry)
      return status;
    // The rowid is the key's last bytes, which a broken chain leaves out.
    const std::string_view key = index_->key();
    if (key.size() < format::kRowidKeySize || key.size() != index_->cell().key_size)
      return index_->FailCorrupt();
    const std::string_view fields = key.substr(0, key.size() - format::kRowidKeySize);
    if (lower_ && !plan.lower->inclusive && StartsWith(fields, *lower_))
      continue;
    if (upper_) {
      const bool past = plan.upper->inclusive ? !StartsWith(fields, *upper_) && fields > *upper_
                                              : fields >= *upper_;
      if (past)
        return Status::Ok();
    } else if (!StartsWith(fields, prefix_)) {
      return Status::Ok();
    }
    if (HasNullField(fields, plan.non_null_fields))
      continue;
    const int32_t rowid = format::DecodeRowidKey(key.data() + fields.size());
    bool found = false;
    if (Status status = rows_->SeekRowid(rowid, &found); !status.ok())
      return status;
    // An index entry without its row: the file is damaged.
    if (!found)
      return Status::Corrupt();
    *loaded = true;
    LoadRow(rowid, rows_->record());
    return Status::Ok();
  }
}

Status Query::AdvanceAutomaticIndex(bool first, bool* loaded) {
  if (first) {
    const Plan::IndexedEquality& equality = *statement_->plan().automatic_index;
    const AutomaticIndex& index =
        snapshot_->AutomaticIndexOf(*table_, equality.column, equality.numeric);
    if (!index.Find(*literals_[equality.slot], &candidates_)) {
      access_ = Access::kScan;
      return Advance(loaded);
    }
    after_candidates_ = index.error();
  }
  if (next_candidate_ == candidates_.size())
    return after_candidates_;
  // The index belongs to this run's snapshot, whose pager still holds the
  // pages it points into.
  if (Status status = rows_->MoveTo(candidates_[next_candidate_++]); !status.ok())
    return status;
  *loaded = true;
  LoadRow(rows_->rowid(), rows_->record());
  return Status::Ok();
}

void Query::LoadRow(int32_t rowid, format::Record record) {
  record_ = record;
  rowid_length_ = static_cast<size_t>(
      std::to_chars(std::begin(rowid_digits_), std::end(rowid_digits_), rowid).ptr - rowid_digits_);
}

std::optional<std::string_view> Query::TestedValue(const Operand& operand) {
  if (operand.source != Operand::Source::kColumn)
    return Value(operand);
  std::optional<std::string_view> value;
  if (Status status = format::DecodeColumn(record_, operand.column, &value); !status.ok())
    column_error_ = std::move(status);
  return value;
}

std::optional<std::string_view> Query::Value(const Operand& operand) const {
  switch (operand.source) {
    case Operand::Source::kColumn:
      return values_[operand.column];
    case Operand::Source::kRowid:
      return std::string_view(rowid_digits_, rowid_length_);
    case Operand::Source::kLiteral:
      break;
  }
  return literals_[operand.slot];
}

std::optional<bool> Query::Evaluate(const Condition& c) {
  switch (c.kind) {
    case ExprKind::kCompare:
      return sql::Compare(c.op, TestedValue(c.left), TestedValue(c.right),
                          !(c.left.text && c.right.text));
    case ExprKind::kIsNull:
      return !TestedValue(c.left).has_value();
    case ExprKind::kNotNull:
      return TestedValue(c.left).has_value();
    case ExprKind::kNot: {
      const std::optional<bool> a = Evaluate(*c.first);
      return a ? std::optional<bool>(!*a) : std::nullopt;
    }
    default:
      break;
  }
  // AND and OR with unknowns: false AND x is false, true OR x is true,
  // anything else involving an unknown stays unknown.
  const bool is_and = c.kind == ExprKind::kAnd;
  const std::optional<bool> a = Evaluate(*c.first);
  if (a == !is_and || !column_error_.ok())
    return a;
  const std::optional<bool> b = Evaluate(*c.second);
  if (b == !is_and)
    return !is_and;
  if (a && b)
    return is_and;
  return std::nullopt;
}

}  // namespace sqlite2
