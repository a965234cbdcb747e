// A SELECT statement resolved against the schema: the table and columns
// it names, its result columns, the WHERE terms left to test on each row
// and the way its rows are found.
//
// How the rows are found decides their order, and the order is the
// library's:
//  1. an equality between the rowid (or the INTEGER PRIMARY KEY column)
//     and a literal looks that one row up;
//  2. otherwise the index that serves the WHERE clause best is walked:
//     the most leading columns held equal to literals, then a range on the
//     next column (an upper bound counting for less than a lower one); on
//     equal merit the newest index wins. Rows come in that index's key
//     order, and the terms it answers are not tested again;
//  3. otherwise the table is scanned in rowid order - or, when the
//     statement runs nested in another, an equality with a literal is
//     looked up in an automatic index (automatic_index.h), which gives the
//     rows a scan would, in the same order.
// Every other term of the top-level AND is tested on each row.
//
// The choice depends on the statement's shape alone, never on the values
// of its literals: literals are numbered slots, and each run of the
// statement (a Query) supplies their values. So one prepared form serves
// every statement that differs from it only in the text of its literals
// (statement_cache.h).
#ifndef SQLITE2_PREPARED_SELECT_H_
#define SQLITE2_PREPARED_SELECT_H_

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sqlite2/schema.h"
#include "sqlite2/sql/compare.h"
#include "sqlite2/sql/statement.h"
#include "sqlite2/status.h"

namespace sqlite2 {

// A literal's value; nullopt is SQL NULL.
using Literal = std::optional<std::string>;
// A literal's value for one run of a statement: a view into the prepared
// statement, or into the SQL text the run was found in.
using LiteralValue = std::optional<std::string_view>;

// The literal values of one run of a statement (see Query), kept from one
// run to the next so that filling them allocates nothing.
struct BoundLiterals {
  std::vector<LiteralValue> values;  // one per slot
  // Where a parameter's value lives when undoing its quotes took more than
  // dropping them: one string per parameter, in order.
  std::vector<std::string> unquoted;
};

class PreparedSelect {
 public:
  struct Operand {
    enum class Source { kColumn, kRowid, kLiteral };
    Source source = Source::kLiteral;
    size_t column = 0;  // kColumn
    size_t slot = 0;    // kLiteral
    bool text = false;  // the comparison class
  };

  struct Condition {
    sql::Expr::Kind kind = sql::Expr::Kind::kCompare;
    sql::CompareOp op = sql::CompareOp::kEq;
    Operand left, right;                       // kCompare; `left` alone for kIsNull / kNotNull
    std::unique_ptr<Condition> first, second;  // kAnd, kOr; `first` alone for kNot
  };

  // A bound on an index key: the literal in `slot` and whether the bound
  // itself belongs to the range.
  struct Bound {
    size_t slot = 0;
    bool inclusive = true;
  };

  struct Plan {
    enum class Access { kNoTable, kScan, kRowid, kIndex };
    Access access = Access::kScan;
    size_t rowid_slot = 0;             // kRowid
    const IndexInfo* index = nullptr;  // kIndex
    // kIndex: the literals held equal to the index's leading columns, and
    // the range on the next column.
    std::vector<size_t> equal_slots;
    std::optional<Bound> lower, upper;
    // Entries with a NULL among this many leading fields are skipped.
    size_t non_null_fields = 0;
    // kScan: a column held equal to a literal, which an automatic index
    // answers where the statement runs nested.
    struct IndexedEquality {
      size_t column = 0;
      size_t slot = 0;
      bool numeric = false;  // how the two sides compare
    };
    std::optional<IndexedEquality> automatic_index;
  };

  // Resolves the statement's names: "no such table: X" and "no such
  // column: X" come from here, before anything is read. `schema` must
  // outlive the result.
  static Status Prepare(const Schema& schema, const sql::SelectStatement& statement,
                        std::unique_ptr<const PreparedSelect>* out);

  const TableInfo* table() const { return table_; }  // null for a SELECT without FROM
  // Result column names: the alias, else the column's declared name for
  // '*', else the expression as typed.
  const std::vector<std::string>& column_names() const { return names_; }
  // Declared types ("INTEGER" for the rowid, NUMERIC or TEXT for a
  // literal); nullopt for a column declared without one.
  const std::vector<std::optional<std::string>>& column_types() const { return types_; }
  const std::vector<Operand>& results() const { return results_; }
  // The table columns the results read, in the order they read them.
  const std::vector<size_t>& result_columns() const { return result_columns_; }
  const std::vector<std::unique_ptr<Condition>>& filters() const { return filters_; }
  const Plan& plan() const { return plan_; }

  // The values of the literals as the statement was written, one per slot.
  std::span<const LiteralValue> literals() const { return literal_values_; }
  // The slot of the literal that starts at `offset` of the statement text
  // (Expr::offset), if one does.
  std::optional<size_t> SlotAt(size_t offset) const;

 private:
  struct Constraint;

  PreparedSelect() = default;
  Status Bind(const Schema& schema, const sql::SelectStatement& statement);
  Status BindResultColumn(const sql::ResultColumn& column);
  Status BindOperand(const sql::Expr& expr, Operand* out);
  Status BindCondition(const sql::Expr& expr, std::unique_ptr<Condition>* out);
  // Whether `name` is how the statement refers to its table.
  bool NamesTable(std::string_view name) const;
  static std::vector<Constraint> Constraints(const std::vector<std::unique_ptr<Condition>>& terms);
  void ChoosePlan(std::vector<std::unique_ptr<Condition>> terms);
  // Marks the terms the chosen access path answers in `answered`.
  void PlanTable(const std::vector<Constraint>& constraints, std::vector<bool>* answered);

  const TableInfo* table_ = nullptr;
  std::optional<std::string> table_alias_;
  std::vector<std::string> names_;
  std::vector<std::optional<std::string>> types_;
  std::vector<Operand> results_;
  std::vector<size_t> result_columns_;
  std::vector<std::unique_ptr<Condition>> filters_;
  Plan plan_;
  std::vector<Literal> literals_;
  std::vector<LiteralValue> literal_values_;  // views of literals_
  std::vector<size_t> literal_offsets_;       // per slot
};

}  // namespace sqlite2

#endif  // SQLITE2_PREPARED_SELECT_H_
