#include "sqlite2/prepared_select.h"

#include <algorithm>
#include <utility>

#include "sqlite2/sql/tokenizer.h"

namespace sqlite2 {

using sql::CompareOp;
using ExprKind = sql::Expr::Kind;

namespace {

constexpr size_t kMaxPlannedIndexColumns = 32;

bool IsRowidName(std::string_view name) {
  return sql::EqualsIgnoringCase(name, "rowid") || sql::EqualsIgnoringCase(name, "oid") ||
         sql::EqualsIgnoringCase(name, "_rowid_");
}

Status NoSuchColumn(std::string_view written) {
  return Status::Error(SQLITE_ERROR, "no such column: " + std::string(written));
}

// The top-level AND terms of a WHERE clause.
void SplitAnd(std::unique_ptr<PreparedSelect::Condition> condition,
              std::vector<std::unique_ptr<PreparedSelect::Condition>>* terms) {
  if (condition->kind != ExprKind::kAnd) {
    terms->push_back(std::move(condition));
    return;
  }
  SplitAnd(std::move(condition->first), terms);
  SplitAnd(std::move(condition->second), terms);
}

}  // namespace

// A term an access path can answer: a column (or the rowid) compared with
// a literal, with the column taken as the left side.
struct PreparedSelect::Constraint {
  size_t term = 0;
  bool rowid = false;
  size_t column = 0;
  CompareOp op = CompareOp::kEq;
  size_t slot = 0;
  bool numeric = false;  // how the two sides compare
};

std::vector<PreparedSelect::Constraint> PreparedSelect::Constraints(
    const std::vector<std::unique_ptr<Condition>>& terms) {
  using Source = Operand::Source;
  std::vector<Constraint> constraints;
  for (size_t i = 0; i < terms.size(); ++i) {
    const Condition& c = *terms[i];
    if (c.kind != ExprKind::kCompare || c.op == CompareOp::kNe)
      continue;
    const bool left_literal = c.left.source == Source::kLiteral;
    const bool right_literal = c.right.source == Source::kLiteral;
    if (left_literal == right_literal)
      continue;
    const Operand& column = left_literal ? c.right : c.left;
    const Operand& literal = left_literal ? c.left : c.right;
    constraints.push_back({i, column.source == Source::kRowid, column.column,
                           left_literal ? sql::Mirror(c.op) : c.op, literal.slot,
                           !(column.text && literal.text)});
  }
  return constraints;
}

Status PreparedSelect::Prepare(const Schema& schema, const sql::SelectStatement& statement,
                               std::unique_ptr<const PreparedSelect>* out) {
  std::unique_ptr<PreparedSelect> prepared(new PreparedSelect());
  if (Status status = prepared->Bind(schema, statement); !status.ok())
    return status;
  *out = std::move(prepared);
  return Status::Ok();
}

std::optional<size_t> PreparedSelect::SlotAt(size_t offset) const {
  auto at = std::find(literal_offsets_.begin(), literal_offsets_.end(), offset);
  if (at == literal_offsets_.end())
    return std::nullopt;
  return static_cast<size_t>(at - literal_offsets_.begin());
}

Status PreparedSelect::Bind(const Schema& schema, const sql::SelectStatement& statement) {
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
  for (const Operand& operand : results_) {
    if (operand.source == Operand::Source::kColumn)
      result_columns_.push_back(operand.column);
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
  for (const Literal& literal : literals_)
    literal_values_.push_back(literal ? LiteralValue(*literal) : std::nullopt);
  return Status::Ok();
}

bool PreparedSelect::NamesTable(std::string_view name) const {
  return table_ != nullptr &&
         sql::EqualsIgnoringCase(table_alias_ ? *table_alias_ : table_->name, name);
}

Status PreparedSelect::BindResultColumn(const sql::ResultColumn& column) {
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
      results_.push_back(operand);
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
  results_.push_back(operand);
  return Status::Ok();
}

Status PreparedSelect::BindOperand(const sql::Expr& expr, Operand* out) {
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
  if (expr.kind == ExprKind::kName)
    return NoSuchColumn(expr.written);
  // A literal: a string, a number or NULL, each in a slot of its own.
  out->slot = literals_.size();
  out->text = expr.kind != ExprKind::kNumber;
  literals_.push_back(expr.kind == ExprKind::kNull ? Literal() : Literal(expr.value));
  literal_offsets_.push_back(expr.offset);
  return Status::Ok();
}

Status PreparedSelect::BindCondition(const sql::Expr& expr, std::unique_ptr<Condition>* out) {
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

void PreparedSelect::ChoosePlan(std::vector<std::unique_ptr<Condition>> terms) {
  std::vector<bool> answered(terms.size(), false);
  if (table_ == nullptr) {
    plan_.access = Plan::Access::kNoTable;
  } else {
    PlanTable(Constraints(terms), &answered);
  }
  for (size_t i = 0; i < terms.size(); ++i) {
    if (!answered[i])
      filters_.push_back(std::move(terms[i]));
  }
}

void PreparedSelect::PlanTable(const std::vector<Constraint>& constraints,
                               std::vector<bool>* answered) {
  for (const Constraint& c : constraints) {
    if (c.rowid && c.op == CompareOp::kEq) {
      (*answered)[c.term] = true;
      plan_.access = Plan::Access::kRowid;
      plan_.rowid_slot = c.slot;
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
    // The equality stays a filter too: the index only narrows the rows
    // down. A NULL literal is one the statement spells out, never a slot
    // another run fills with text, so the choice holds for every run.
    for (const Constraint& c : constraints) {
      if (!c.rowid && c.op == CompareOp::kEq && literals_[c.slot].has_value()) {
        plan_.automatic_index = Plan::IndexedEquality{c.column, c.slot, c.numeric};
        return;
      }
    }
    return;
  }

  plan_.access = Plan::Access::kIndex;
  plan_.index = best;
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
  for (size_t i = 0; i < best_equal; ++i) {
    plan_.equal_slots.push_back(
        take(best->columns[i], [](CompareOp op) { return op == CompareOp::kEq; })->slot);
  }
  plan_.non_null_fields = best_equal;
  if (best_score & 1) {
    const Constraint* c = take(best->columns[best_equal], [](CompareOp op) {
      return op == CompareOp::kLt || op == CompareOp::kLe;
    });
    plan_.upper = Bound{c->slot, c->op == CompareOp::kLe};
    ++plan_.non_null_fields;
  }
  if (best_score & 2) {
    const Constraint* c = take(best->columns[best_equal], [](CompareOp op) {
      return op == CompareOp::kGt || op == CompareOp::kGe;
    });
    plan_.lower = Bound{c->slot, c->op == CompareOp::kGe};
  }
}

}  // namespace sqlite2
