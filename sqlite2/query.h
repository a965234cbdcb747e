// Runs of a prepared SELECT statement (prepared_select.h) with the values
// of its literals, stepping through its rows. One query object serves one
// run after another, keeping its buffers, so that a statement run many
// times over allocates nothing for them.
#ifndef SQLITE2_QUERY_H_
#define SQLITE2_QUERY_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sqlite2/format/btree_cursor.h"
#include "sqlite2/format/record.h"
#include "sqlite2/format/table_cursor.h"
#include "sqlite2/prepared_select.h"
#include "sqlite2/snapshot.h"
#include "sqlite2/status.h"

namespace sqlite2 {

// A result row; nullopt is SQL NULL.
using RowValues = std::vector<std::optional<std::string_view>>;

class Query {
 public:
  Query();
  ~Query();
  Query(const Query&) = delete;
  Query& operator=(const Query&) = delete;

  // Begins a run of `statement` on a query that is new or finished.
  // `literals` holds a value for each of the statement's slots. The
  // statement, the literals' storage and `snapshot` must outlive the run:
  // the cursors point into the snapshot's pages (format/pager.h). With
  // `may_build_index`, an equality the plan leaves to a scan is answered by
  // the snapshot's automatic index (automatic_index.h).
  void Start(const PreparedSelect& statement, std::span<const LiteralValue> literals,
             Snapshot* snapshot, bool may_build_index);
  // Ends the run: nothing of it is used after this, and the query is
  // ready for the next Start().
  void Finish();

  const std::vector<std::string>& column_names() const { return statement_->column_names(); }
  const std::vector<std::optional<std::string>>& column_types() const {
    return statement_->column_types();
  }

  // Moves to the next row. Rows before an error stay delivered; after it
  // every call fails the same way.
  Status Step(bool* has_row);
  // The current row; valid until the next Step().
  const RowValues& row() const { return row_; }

 private:
  using Operand = PreparedSelect::Operand;
  using Condition = PreparedSelect::Condition;
  using Plan = PreparedSelect::Plan;

  // How this run finds its rows: the statement's plan with this run's
  // literals in place.
  enum class Access { kNoTable, kScan, kRowid, kIndex, kAutomaticIndex, kNothing };
  void ChooseAccess();
  void ChooseIndexRange();

  // Moves to the next candidate row of the plan and loads its values.
  Status Advance(bool* loaded);
  Status AdvanceIndex(bool* loaded);
  Status AdvanceAutomaticIndex(bool first, bool* loaded);
  // Makes the row with `rowid` and `record` the current one. Its columns
  // are read only when asked for, as the library reads them: a WHERE term
  // reads its own columns, and only a row that passes has the rest read.
  void LoadRow(int32_t rowid, format::Record record);
  // The value of a result: its column once the results' columns are read.
  std::optional<std::string_view> Value(const Operand& operand) const;
  // The value a WHERE term tests, its column read for it; a failure to read
  // is kept in column_error_.
  std::optional<std::string_view> TestedValue(const Operand& operand);
  std::optional<bool> Evaluate(const Condition& condition);

  const PreparedSelect* statement_ = nullptr;
  const TableInfo* table_ = nullptr;
  std::span<const LiteralValue> literals_;
  Snapshot* snapshot_ = nullptr;
  bool may_build_index_ = false;

  Access access_ = Access::kScan;
  int32_t rowid_ = 0;  // kRowid
  // kIndex: the encoded fields held equal, and the range on the next column.
  std::string prefix_;
  std::optional<std::string> lower_, upper_;  // prefix + the bound's field

  std::optional<format::TableCursor> rows_;
  std::optional<format::BtreeCursor> index_;
  std::vector<AutomaticIndex::RowPosition> candidates_;  // the rows an automatic index found
  size_t next_candidate_ = 0;
  Status after_candidates_;  // where the index's scan of the table failed
  bool started_ = false;
  bool finished_ = false;
  Status error_;

  format::Record record_;        // the current table row
  format::RecordValues values_;  // its columns that the results read
  Status column_error_;          // from a WHERE term that could not read its column
  char rowid_digits_[12] = {};   // the current rowid in decimal, "-2147483648" at most
  size_t rowid_length_ = 0;
  RowValues row_;
};

}  // namespace sqlite2

#endif  // SQLITE2_QUERY_H_
