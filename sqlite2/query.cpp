#include "sqlite2/query.h"

#include <algorithm>
#include <utility>

#include "sqlite2/format/keys.h"
#include "sqlite2/sql/compare.h"
#include "sqlite2/sql/tokenizer.h"

namespace sqlite2 {

using sql::CompareOp;
using ExprKind = sql::Expr::Kind;

struct Query::Operand {
  enum class Source { kColumn, kRowid, kLiteral };
  Source source = Source::kLiteral;
  size_t column = 0;                   // kColumn
  std::optional<std::string> literal;  // kLiteral
  bool text = false;                   // the comparison class
};

struct Query::Condition {
  ExprKind kind = ExprKind::kCompare;
  CompareOp op = CompareOp::kEq;
  Operand left, right;                       // kCompare; `left` alone for kIsNull / kNotNull
  std::unique_ptr<Condition> first, second;  // kAnd, kOr; `first` alone for kNot
};

struct Query::Plan {
  enum class Access { kNoTable, kScan, kRowid, kIndex, kHash, kNothing };
  Access access = Access::kScan;
  int32_t rowid = 0;                 // kRowid
  const IndexInfo* index = nullptr;  // kIndex
  // kIndex: the encoded fields held equal, and the range on the next column.
  std::string prefix;
  std::optional<std::string> lower, upper;  // prefix + the bound's field
  bool lower_inclusive = true;
  bool upper_inclusive = true;
  // Entries with a NULL among this many leading fields are skipped.
  size_t non_null_fields = 0;
  // kHash: the column held equal to `literal`, and how they compare.
  size_t column = 0;
  bool numeric = false;
  std::string literal;
};

namespace {

constexpr size_t kMaxPlannedIndexColumns = 32;

bool IsRowidName(std::string_view name) {
  return sql::EqualsIgnoringCase(name, "rowid") || sql::EqualsIgnoringCase(name, "oid") ||
         sql::EqualsIgnoringCase(name, "_rowid_");
}

Status NoSuchColumn(std::string_view written) {
  return Status::Error(SQLITE_ERROR, "no such column: " + std::string(written));
}

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

Status Query::Prepare(const Schema& schema, format::Pager* pager,
                      const sql::SelectStatement& statement, ColumnHashes* hashes,
                      std::unique_ptr<Query>* out) {
  std::unique_ptr<Query> query(new Query());
  query->pager_ = pager;
  query->hashes_ = hashes;
  if (Status status = query->Bind(schema, statement); !status.ok())
    return status;
  *out = std::move(query);
  return Status::Ok();
}

Status Query::Bind(const Schema& schema, const sql::SelectStatement& statement) {
  if (statement.table) {
    table_ = schema.FindTable(*statement.table);
    if (table_ == nullptr)
      return Status::Error(SQLITE_ERROR, "no such table: " + *statement.table);
  }
  table_alias_ = statement.table_alias;
  for (const sql::ResultColumn& column : statement.columns) {
    if (Status status = BindResultColumn(column); !status.ok())
      return status;
  }
  std::unique_ptr<Condition> where;
  if (statement.where) {
    if (Status status = BindCondition(*statement.where, &where); !status.ok())
      return status;
  }
  std::vector<std::unique_ptr<Condition>> terms;
  if (where)
    SplitAnd(std::move(where), &terms);
  ChoosePlan(std::move(terms));
  return Status::Ok();
}

bool Query::NamesTable(std::string_view name) const {
  return table_ != nullptr &&
         sql::EqualsIgnoringCase(table_alias_ ? *table_alias_ : table_->name, name);
}

Status Query::BindResultColumn(const sql::ResultColumn& column) {
  if (column.all) {
    if (table_ == nullptr)
      return Status::Error(SQLITE_ERROR, "no tables specified");
    if (column.all_of && !NamesTable(*column.all_of))
      return Status::Error(SQLITE_ERROR, "no such table: " + *column.all_of);
    results_.reserve(results_.size() + table_->columns.size());
    names_.reserve(names_.size() + table_->columns.size());
    types_.reserve(types_.size() + table_->columns.size());
    for (size_t i = 0; i < table_->columns.size(); ++i) {
      Operand operand;
      operand.source =
          i == table_->rowid_column ? Operand::Source::kRowid : Operand::Source::kColumn;
      operand.column = i;
      operand.text = table_->columns[i].text;
      results_.push_back(std::move(operand));
      names_.push_back(table_->columns[i].name);
      types_.push_back(table_->columns[i].type);
    }
    return Status::Ok();
  }
  Operand operand;
  if (Status status = BindOperand(*column.expr, &operand); !status.ok())
    return status;
  names_.push_back(column.alias ? *column.alias : column.expr->span);
  switch (operand.source) {
    case Operand::Source::kColumn:
      types_.push_back(table_->columns[operand.column].type);
      break;
    case Operand::Source::kRowid: {
      // The INTEGER PRIMARY KEY column keeps its declared type; rowid, oid
      // and _rowid_ are INTEGER.
      const std::optional<size_t> key = table_->rowid_column;
      const bool named =
          key && sql::EqualsIgnoringCase(table_->columns[*key].name, column.expr->value);
      types_.push_back(named ? table_->columns[*key].type : std::optional<std::string>("INTEGER"));
      break;
    }
    case Operand::Source::kLiteral:
      types_.push_back(column.expr->kind == ExprKind::kNumber ? "NUMERIC" : "TEXT");
      break;
  }
  results_.push_back(std::move(operand));
  return Status::Ok();
}

Status Query::BindOperand(const sql::Expr& expr, Operand* out) const {
  *out = Operand();
  const bool names_column =
      expr.kind == ExprKind::kName || (expr.kind == ExprKind::kString && expr.double_quoted);
  if (names_column && table_ != nullptr && (!expr.qualifier || NamesTable(*expr.qualifier))) {
    for (size_t i = 0; i < table_->columns.size(); ++i) {
      if (sql::EqualsIgnoringCase(table_->columns[i].name, expr.value)) {
        out->source =
            i == table_->rowid_column ? Operand::Source::kRowid : Operand::Source::kColumn;
        out->column = i;
        out->text = table_->columns[i].text;
        return Status::Ok();
      }
    }
    if (IsRowidName(expr.value)) {
      out->source = Operand::Source::kRowid;
      return Status::Ok();
    }
  }
  switch (expr.kind) {
    case ExprKind::kName:
      return NoSuchColumn(expr.written);
    case ExprKind::kString:
      out->literal = expr.value;
      out->text = true;
      return Status::Ok();
    case ExprKind::kNumber:
      out->literal = expr.value;
      return Status::Ok();
    default:  // NULL
      out->text = true;
      return Status::Ok();
  }
}

Status Query::BindCondition(const sql::Expr& expr, std::unique_ptr<Condition>* out) const {
  auto condition = std::make_unique<Condition>();
  condition->kind = expr.kind;
  condition->op = expr.op;
  Status status;
  switch (expr.kind) {
    case ExprKind::kCompare:
      status = BindOperand(*expr.left, &condition->left);
      if (status.ok())
        status = BindOperand(*expr.right, &condition->right);
      break;
    case ExprKind::kIsNull:
    case ExprKind::kNotNull:
      status = BindOperand(*expr.left, &condition->left);
      break;
    case ExprKind::kAnd:
    case ExprKind::kOr:
      status = BindCondition(*expr.left, &condition->first);
      if (status.ok())
        status = BindCondition(*expr.right, &condition->second);
      break;
    default:  // NOT
      status = BindCondition(*expr.left, &condition->first);
      break;
  }
  if (status.ok())
    *out = std::move(condition);
  return status;
}

void Query::SplitAnd(std::unique_ptr<Condition> condition,
                     std::vector<std::unique_ptr<Condition>>* terms) {
  if (condition->kind != ExprKind::kAnd) {
    terms->push_back(std::move(condition));
    return;
  }
  SplitAnd(std::move(condition->first), terms);
  SplitAnd(std::move(condition->second), terms);
}

// A term an access path can answer: a column (or the rowid) compared with
// a literal, with the column taken as the left side.
struct Query::Constraint {
  size_t term = 0;
  bool rowid = false;
  size_t column = 0;
  CompareOp op = CompareOp::kEq;
  const std::optional<std::string>* literal = nullptr;
  bool numeric = false;  // how the two sides compare
};

std::vector<Query::Constraint> Query::Constraints(
    const std::vector<std::unique_ptr<Condition>>& terms) {
  std::vector<Constraint> constraints;
  for (size_t i = 0; i < terms.size(); ++i) {
    const Condition& c = *terms[i];
    if (c.kind != ExprKind::kCompare || c.op == CompareOp::kNe)
      continue;
    const bool left_literal = c.left.source == Operand::Source::kLiteral;
    const bool right_literal = c.right.source == Operand::Source::kLiteral;
    if (left_literal == right_literal)
      continue;
    const Operand& column = left_literal ? c.right : c.left;
    const Operand& literal = left_literal ? c.left : c.right;
    constraints.push_back({i, column.source == Operand::Source::kRowid, column.column,
                           left_literal ? sql::Mirror(c.op) : c.op, &literal.literal,
                           !(column.text && literal.text)});
  }
  return constraints;
}

void Query::ChoosePlan(std::vector<std::unique_ptr<Condition>> terms) {
  plan_ = std::make_unique<Plan>();
  std::vector<bool> answered(terms.size(), false);
  if (table_ == nullptr) {
    plan_->access = Plan::Access::kNoTable;
  } else {
    PlanTable(Constraints(terms), &answered);
  }
  for (size_t i = 0; i < terms.size(); ++i) {
    if (!answered[i])
      filters_.push_back(std::move(terms[i]));
  }
}

void Query::PlanTable(const std::vector<Constraint>& constraints, std::vector<bool>* answered) {
  for (const Constraint& c : constraints) {
    if (c.rowid && c.op == CompareOp::kEq) {
      (*answered)[c.term] = true;
      std::optional<int32_t> rowid = sql::RowidFromLiteral(*c.literal);
      plan_->access = rowid ? Plan::Access::kRowid : Plan::Access::kNothing;
      plan_->rowid = rowid.value_or(0);
      return;
    }
  }

  const IndexInfo* best = nullptr;
  size_t best_score = 0, best_equal = 0;
  for (const IndexInfo& index : table_->indices) {
    if (index.columns.size() > kMaxPlannedIndexColumns)
      continue;
    uint64_t equal = 0, below = 0, above = 0;
    for (const Constraint& c : constraints) {
      if (c.rowid)
        continue;
      auto at = std::find(index.columns.begin(), index.columns.end(), c.column);
      if (at == index.columns.end())
        continue;
      const uint64_t bit = uint64_t{1} << (at - index.columns.begin());
      if (c.op == CompareOp::kEq)
        equal |= bit;
      else if (c.op == CompareOp::kLt || c.op == CompareOp::kLe)
        below |= bit;
      else
        above |= bit;
    }
    size_t leading = 0;
    while (leading < index.columns.size() && (equal >> leading & 1) != 0)
      ++leading;
    const size_t score = leading * 8 + (below >> leading & 1) + (above >> leading & 1) * 2;
    if (score > best_score) {
      best = &index;
      best_score = score;
      best_equal = leading;
    }
  }
  if (best == nullptr) {
    // The equality stays a filter too: the hash only narrows the rows down.
    for (const Constraint& c : constraints) {
      if (hashes_ != nullptr && !c.rowid && c.op == CompareOp::kEq && c.literal->has_value()) {
        plan_->access = Plan::Access::kHash;
        plan_->column = c.column;
        plan_->numeric = c.numeric;
        plan_->literal = **c.literal;
        return;
      }
    }
    return;
  }

  plan_->access = Plan::Access::kIndex;
  plan_->index = best;
  // The first unused term for each role supplies its value.
  auto take = [&](size_t column, auto matches) -> const Constraint* {
    for (const Constraint& c : constraints) {
      if (!c.rowid && !(*answered)[c.term] && c.column == column && matches(c.op)) {
        (*answered)[c.term] = true;
        return &c;
      }
    }
    return nullptr;
  };
  bool null_bound = false;
  auto append = [&](const Constraint& c, std::string* key) {
    null_bound = null_bound || !c.literal->has_value();
    format::AppendIndexField(*c.literal, table_->columns[c.column].text, key);
  };
  for (size_t i = 0; i < best_equal; ++i)
    append(*take(best->columns[i], [](CompareOp op) { return op == CompareOp::kEq; }),
           &plan_->prefix);
  plan_->non_null_fields = best_equal;
  if (best_score & 1) {
    const Constraint* c = take(best->columns[best_equal], [](CompareOp op) {
      return op == CompareOp::kLt || op == CompareOp::kLe;
    });
    plan_->upper = plan_->prefix;
    append(*c, &*plan_->upper);
    plan_->upper_inclusive = c->op == CompareOp::kLe;
    ++plan_->non_null_fields;
  }
  if (best_score & 2) {
    const Constraint* c = take(best->columns[best_equal], [](CompareOp op) {
      return op == CompareOp::kGt || op == CompareOp::kGe;
    });
    plan_->lower = plan_->prefix;
    append(*c, &*plan_->lower);
    plan_->lower_inclusive = c->op == CompareOp::kGe;
  }
  // A NULL bound matches nothing.
  if (null_bound)
    plan_->access = Plan::Access::kNothing;
}

Status Query::Step(bool* has_row) {
  *has_row = false;
  if (!error_.ok())
    return error_;
  while (!finished_) {
    bool loaded = false;
    if (Status status = Advance(&loaded); !status.ok()) {
      error_ = status;
      finished_ = true;
      return status;
    }
    if (!loaded) {
      finished_ = true;
      break;
    }
    const bool passes = std::all_of(filters_.begin(), filters_.end(),
                                    [this](const auto& term) { return Evaluate(*term) == true; });
    if (!passes)
      continue;
    row_.clear();
    row_.reserve(results_.size());
    for (const Operand& operand : results_)
      row_.push_back(Value(operand));
    *has_row = true;
    return Status::Ok();
  }
  return Status::Ok();
}

Status Query::Advance(bool* loaded) {
  *loaded = false;
  const bool first = !started_;
  started_ = true;
  switch (plan_->access) {
    case Plan::Access::kNoTable:
      *loaded = first;
      return Status::Ok();
    case Plan::Access::kNothing:
      return Status::Ok();
    default:
      break;
  }
  if (!table_->in_file)
    return Status::Ok();
  if (table_->root < 2)
    return BadRootPage();
  if (first)
    rows_ = std::make_unique<format::TableCursor>(pager_, table_->root);

  if (plan_->access == Plan::Access::kScan) {
    if (Status status = rows_->Next(loaded); !status.ok() || !*loaded)
      return status;
    return LoadRow(rows_->rowid(), rows_->record());
  }
  if (plan_->access == Plan::Access::kHash)
    return AdvanceHash(first, loaded);
  if (plan_->access == Plan::Access::kRowid) {
    if (!first)
      return Status::Ok();
    if (Status status = rows_->SeekRowid(plan_->rowid, loaded); !status.ok() || !*loaded)
      return status;
    return LoadRow(rows_->rowid(), rows_->record());
  }
  return AdvanceIndex(loaded);
}

Status Query::AdvanceIndex(bool* loaded) {
  const Plan& plan = *plan_;
  if (index_ == nullptr) {
    if (plan.index->root < 2)
      return BadRootPage();
    index_ = std::make_unique<format::BtreeCursor>(pager_, plan.index->root);
    const std::string& start = plan.lower ? *plan.lower : plan.prefix;
    if (Status status = index_->SeekAtLeast(start); !status.ok())
      return status;
  }
  for (;;) {
    bool has_entry = false;
    if (Status status = index_->Next(&has_entry); !status.ok() || !has_entry)
      return status;
    const std::string_view key = index_->key();
    if (key.size() < format::kRowidKeySize)
      return index_->FailCorrupt();
    const std::string_view fields = key.substr(0, key.size() - format::kRowidKeySize);
    if (plan.lower && !plan.lower_inclusive && StartsWith(fields, *plan.lower))
      continue;
    if (plan.upper) {
      const bool past = plan.upper_inclusive
                            ? !StartsWith(fields, *plan.upper) && fields > *plan.upper
                            : fields >= *plan.upper;
      if (past)
        return Status::Ok();
    } else if (!StartsWith(fields, plan.prefix)) {
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
    return LoadRow(rowid, rows_->record());
  }
}

Status Query::AdvanceHash(bool first, bool* loaded) {
  if (first) {
    const ColumnHash& hash = hashes_->Get(pager_, *table_, plan_->column, plan_->numeric);
    if (!hash.Find(plan_->literal, &candidates_)) {
      plan_->access = Plan::Access::kScan;
      return Advance(loaded);
    }
    after_candidates_ = hash.error();
  }
  if (next_candidate_ == candidates_.size())
    return after_candidates_;
  const int32_t rowid = candidates_[next_candidate_++];
  if (Status status = rows_->SeekRowid(rowid, loaded); !status.ok())
    return status;
  // The hash was built from this same snapshot.
  if (!*loaded)
    return Status::Corrupt();
  return LoadRow(rowid, rows_->record());
}

Status Query::LoadRow(int32_t rowid, std::string_view record) {
  if (Status status = format::DecodeRecord(record, table_->columns.size(), &values_); !status.ok())
    return status;
  rowid_text_ = std::to_string(rowid);
  return Status::Ok();
}

std::optional<std::string_view> Query::Value(const Operand& operand) const {
  switch (operand.source) {
    case Operand::Source::kColumn:
      return values_[operand.column];
    case Operand::Source::kRowid:
      return rowid_text_;
    case Operand::Source::kLiteral:
      break;
  }
  if (!operand.literal)
    return std::nullopt;
  return *operand.literal;
}

std::optional<bool> Query::Evaluate(const Condition& c) const {
  switch (c.kind) {
    case ExprKind::kCompare:
      return sql::Compare(c.op, Value(c.left), Value(c.right), !(c.left.text && c.right.text));
    case ExprKind::kIsNull:
      return !Value(c.left).has_value();
    case ExprKind::kNotNull:
      return Value(c.left).has_value();
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
  if (a == !is_and)
    return !is_and;
  const std::optional<bool> b = Evaluate(*c.second);
  if (b == !is_and)
    return !is_and;
  if (a && b)
    return is_and;
  return std::nullopt;
}

}  // namespace sqlite2
