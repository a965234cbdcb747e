// One SELECT statement, resolved against the schema and stepping through
// its rows.
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
//  3. otherwise the table is scanned in rowid order - or, for a statement
//     nested in another that has column hashes to offer (column_hash.h),
//     an equality with a literal is looked up in the hash, which gives
//     the rows a scan would, in the same order.
// Every other term of the top-level AND is tested on each row.
#ifndef SQLITE2_QUERY_H_
#define SQLITE2_QUERY_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sqlite2/column_hash.h"
#include "sqlite2/format/btree_cursor.h"
#include "sqlite2/format/pager.h"
#include "sqlite2/format/record.h"
#include "sqlite2/format/table_cursor.h"
#include "sqlite2/schema.h"
#include "sqlite2/sql/statement.h"
#include "sqlite2/status.h"

namespace sqlite2 {

// A result row; nullopt is SQL NULL.
using RowValues = std::vector<std::optional<std::string_view>>;

class Query {
 public:
  // Resolves the statement's names: "no such table: X" and "no such
  // column: X" come from here, before anything is read. `schema`, `pager`
  // and `hashes` (null when none may be built) must outlive the query.
  static Status Prepare(const Schema& schema, format::Pager* pager,
                        const sql::SelectStatement& statement, ColumnHashes* hashes,
                        std::unique_ptr<Query>* out);
  ~Query();
  Query(const Query&) = delete;
  Query& operator=(const Query&) = delete;

  // Result column names: the alias, else the column's declared name for
  // '*', else the expression as typed.
  const std::vector<std::string>& column_names() const { return names_; }
  // Declared types ("INTEGER" for the rowid, NUMERIC or TEXT for a
  // literal); nullopt for a column declared without one.
  const std::vector<std::optional<std::string>>& column_types() const { return types_; }

  // Moves to the next row. Rows before an error stay delivered; after it
  // every call fails the same way.
  Status Step(bool* has_row);
  // The current row; valid until the next Step().
  const RowValues& row() const { return row_; }

 private:
  struct Operand;
  struct Condition;
  struct Constraint;
  struct Plan;

  Query();
  Status Bind(const Schema& schema, const sql::SelectStatement& statement);
  Status BindResultColumn(const sql::ResultColumn& column);
  Status BindOperand(const sql::Expr& expr, Operand* out) const;
  Status BindCondition(const sql::Expr& expr, std::unique_ptr<Condition>* out) const;
  // The top-level AND terms of a WHERE clause.
  static void SplitAnd(std::unique_ptr<Condition> condition,
                       std::vector<std::unique_ptr<Condition>>* terms);
  // Whether `name` is how the statement refers to its table.
  bool NamesTable(std::string_view name) const;
  void ChoosePlan(std::vector<std::unique_ptr<Condition>> terms);
  static std::vector<Constraint> Constraints(const std::vector<std::unique_ptr<Condition>>& terms);
  // Marks the terms the chosen access path answers in `answered`.
  void PlanTable(const std::vector<Constraint>& constraints, std::vector<bool>* answered);

  // Moves to the next candidate row of the plan and loads its values.
  Status Advance(bool* loaded);
  Status AdvanceIndex(bool* loaded);
  Status AdvanceHash(bool first, bool* loaded);
  Status LoadRow(int32_t rowid, std::string_view record);
  std::optional<std::string_view> Value(const Operand& operand) const;
  std::optional<bool> Evaluate(const Condition& condition) const;

  format::Pager* pager_ = nullptr;
  ColumnHashes* hashes_ = nullptr;
  const TableInfo* table_ = nullptr;  // null for a SELECT without FROM
  std::optional<std::string> table_alias_;
  std::vector<std::string> names_;
  std::vector<std::optional<std::string>> types_;
  std::vector<Operand> results_;
  std::vector<std::unique_ptr<Condition>> filters_;
  std::unique_ptr<Plan> plan_;

  std::unique_ptr<format::TableCursor> rows_;
  std::unique_ptr<format::BtreeCursor> index_;
  std::vector<int32_t> candidates_;  // the rows a hash lookup found
  size_t next_candidate_ = 0;
  Status after_candidates_;  // where the hashed scan of the table failed
  bool started_ = false;
  bool finished_ = false;
  Status error_;

  format::RecordValues values_;  // the current table row, one per column
  std::string rowid_text_;
  RowValues row_;
};

}  // namespace sqlite2

#endif  // SQLITE2_QUERY_H_
