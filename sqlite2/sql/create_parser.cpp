#include "sqlite2/sql/create_parser.h"

#include <utility>

#include "sqlite2/sql/tokenizer.h"
#include "sqlite2/sql/type_class.h"

namespace sqlite2::sql {
namespace {

// Parse steps return false at the first token that does not fit; the
// caller then drops the whole statement.
class CreateParser {
 public:
  explicit CreateParser(std::string_view sql) {
    for (size_t pos = 0; pos < sql.size();) {
      Token token = NextToken(sql, pos);
      pos += token.length;
      if (token.kind != TokenKind::kSpace && token.kind != TokenKind::kComment)
        tokens_.push_back(token);
    }
    end_.kind = TokenKind::kEnd;
  }

  Definition Parse();

 private:
  const Token& Peek() const { return next_ < tokens_.size() ? tokens_[next_] : end_; }
  Token Take() { return next_ < tokens_.size() ? tokens_[next_++] : end_; }
  bool TakeIf(TokenKind kind) { return Peek().kind == kind && (++next_, true); }
  bool TakeIf(std::string_view keyword) { return Peek().Is(keyword) && (++next_, true); }
  bool PeekIsName() const {
    const Token& t = Peek();
    return t.kind == TokenKind::kId || t.kind == TokenKind::kString ||
           t.kind == TokenKind::kJoinKeyword || t.IsFallbackKeyword();
  }
  bool TakeName(std::string* name) {
    if (!PeekIsName())
      return false;
    *name = Dequote(Take().text);
    return true;
  }
  // Past a parenthesised group, nested parentheses included.
  bool SkipGroup();
  // An optional ON CONFLICT clause; sets *replace for REPLACE.
  bool ParseConflict(bool* replace);
  bool ParseEnd() {
    TakeIf(TokenKind::kSemi);
    return Peek().kind == TokenKind::kEnd;
  }

  std::optional<TableDefinition> ParseTable();
  bool ParseColumn(TableDefinition* table);
  bool ParseType(ColumnDefinition* column);
  bool ParseColumnConstraint(TableDefinition* table);
  bool ParseTableConstraint(TableDefinition* table);
  bool ParseReferences();
  bool ParseNameList(std::vector<std::string>* names);
  bool AddPrimaryKey(TableDefinition* table, std::vector<size_t> columns, bool replace);
  std::optional<IndexDefinition> ParseIndex();

  std::vector<Token> tokens_;
  size_t next_ = 0;
  Token end_;
  bool has_primary_key_ = false;
};

std::optional<size_t> FindColumn(const TableDefinition& table, std::string_view name) {
  for (size_t i = 0; i < table.columns.size(); ++i) {
    if (EqualsIgnoringCase(table.columns[i].name, name))
      return i;
  }
  return std::nullopt;
}

Definition CreateParser::Parse() {
  if (!TakeIf("CREATE"))
    return OtherDefinition{};
  TakeIf("TEMP") || TakeIf("TEMPORARY");
  if (TakeIf("TABLE")) {
    if (std::optional<TableDefinition> table = ParseTable())
      return *std::move(table);
    return OtherDefinition{};
  }
  // Uniqueness only matters to a writer.
  TakeIf("UNIQUE");
  if (TakeIf("INDEX")) {
    if (std::optional<IndexDefinition> index = ParseIndex())
      return *std::move(index);
  }
  return OtherDefinition{};
}

std::optional<TableDefinition> CreateParser::ParseTable() {
  TableDefinition table;
  if (!TakeName(&table.name) || !TakeIf(TokenKind::kLeftParen))
    return std::nullopt;
  bool constraints = false;
  do {
    const Token& t = Peek();
    constraints = constraints || t.Is("CONSTRAINT") || t.Is("PRIMARY") || t.Is("UNIQUE") ||
                  t.Is("CHECK") || t.Is("FOREIGN");
    if (constraints && !table.columns.empty()) {
      // Table constraints may be separated by commas or not.
      do {
        if (!ParseTableConstraint(&table))
          return std::nullopt;
      } while (TakeIf(TokenKind::kComma) || Peek().kind != TokenKind::kRightParen);
      break;
    }
    if (!ParseColumn(&table))
      return std::nullopt;
  } while (TakeIf(TokenKind::kComma));
  if (!TakeIf(TokenKind::kRightParen) || !ParseEnd())
    return std::nullopt;
  return table;
}

bool CreateParser::ParseColumn(TableDefinition* table) {
  ColumnDefinition column;
  if (!TakeName(&column.name) || FindColumn(*table, column.name))
    return false;
  if (!ParseType(&column))
    return false;
  table->columns.push_back(std::move(column));
  while (Peek().kind != TokenKind::kComma && Peek().kind != TokenKind::kRightParen) {
    if (!ParseColumnConstraint(table))
      return false;
  }
  return true;
}

bool CreateParser::ParseType(ColumnDefinition* column) {
  // Type words are identifiers or strings; the first keyword that is not
  // a mere name starts the constraints.
  const Token first = Peek();
  bool any = false;
  while (Peek().kind == TokenKind::kId || Peek().kind == TokenKind::kString ||
         Peek().IsFallbackKeyword()) {
    Take();
    any = true;
  }
  if (!any)
    return true;
  size_t end = next_;
  if (TakeIf(TokenKind::kLeftParen)) {
    for (int arguments = 0; arguments < 2; ++arguments) {
      if (Peek().kind == TokenKind::kPlus || Peek().kind == TokenKind::kMinus)
        Take();
      if (!TakeIf(TokenKind::kInteger))
        return false;
      if (arguments == 1 || !TakeIf(TokenKind::kComma))
        break;
    }
    if (!TakeIf(TokenKind::kRightParen))
      return false;
    end = next_;
  }
  const Token& last = tokens_[end - 1];
  const char* begin = first.text.data();
  const std::string_view declared(begin, last.text.data() + last.text.size() - begin);
  column->type = SqueezeType(declared);
  column->text = IsTextType(declared);
  return true;
}

bool CreateParser::SkipGroup() {
  if (!TakeIf(TokenKind::kLeftParen))
    return false;
  for (int depth = 1; depth > 0;) {
    const Token t = Take();
    if (t.kind == TokenKind::kEnd || t.kind == TokenKind::kIllegal)
      return false;
    if (t.kind == TokenKind::kLeftParen)
      ++depth;
    else if (t.kind == TokenKind::kRightParen)
      --depth;
  }
  return true;
}

bool CreateParser::ParseConflict(bool* replace) {
  if (!TakeIf("ON"))
    return true;
  if (!TakeIf("CONFLICT"))
    return false;
  for (std::string_view action : {"ROLLBACK", "ABORT", "FAIL", "IGNORE", "REPLACE"}) {
    if (TakeIf(action)) {
      if (replace != nullptr)
        *replace = action == "REPLACE";
      return true;
    }
  }
  return false;
}

bool CreateParser::ParseColumnConstraint(TableDefinition* table) {
  const size_t column = table->columns.size() - 1;
  if (TakeIf("CONSTRAINT")) {
    std::string name;
    return TakeName(&name);
  }
  if (TakeIf("NOT")) {
    if (TakeIf("DEFERRABLE"))
      return TakeIf("INITIALLY") ? (TakeIf("DEFERRED") || TakeIf("IMMEDIATE")) : true;
    return TakeIf("NULL") && ParseConflict(nullptr);
  }
  if (TakeIf("NULL"))
    return ParseConflict(nullptr);
  if (TakeIf("PRIMARY")) {
    if (!TakeIf("KEY"))
      return false;
    TakeIf("ASC") || TakeIf("DESC");
    bool replace = false;
    return ParseConflict(&replace) && AddPrimaryKey(table, {column}, replace);
  }
  if (TakeIf("UNIQUE")) {
    AutomaticIndex index{{column}, false};
    if (!ParseConflict(&index.replace))
      return false;
    table->automatic_indices.push_back(std::move(index));
    return true;
  }
  if (TakeIf("CHECK"))
    return SkipGroup() && ParseConflict(nullptr);
  if (TakeIf("DEFAULT")) {
    if (Peek().kind == TokenKind::kLeftParen)
      return SkipGroup();
    if (Peek().kind == TokenKind::kPlus || Peek().kind == TokenKind::kMinus) {
      Take();
      return TakeIf(TokenKind::kInteger) || TakeIf(TokenKind::kFloat);
    }
    const Token& t = Peek();
    if (t.kind == TokenKind::kString || t.kind == TokenKind::kId || t.kind == TokenKind::kInteger ||
        t.kind == TokenKind::kFloat || t.Is("NULL") || t.IsFallbackKeyword()) {
      Take();
      return true;
    }
    return false;
  }
  if (TakeIf("COLLATE")) {
    const Token& t = Peek();
    if (t.kind != TokenKind::kId && t.kind != TokenKind::kString && !t.IsFallbackKeyword())
      return false;
    // The collation word classifies as written, quotes and all.
    table->columns[column].text = IsTextType(Take().text);
    return true;
  }
  if (TakeIf("REFERENCES"))
    return ParseReferences();
  if (TakeIf("DEFERRABLE"))
    return TakeIf("INITIALLY") ? (TakeIf("DEFERRED") || TakeIf("IMMEDIATE")) : true;
  return false;
}

bool CreateParser::ParseReferences() {
  std::string table;
  if (!TakeName(&table))
    return false;
  if (Peek().kind == TokenKind::kLeftParen) {
    std::vector<std::string> columns;
    if (!ParseNameList(&columns))
      return false;
  }
  for (;;) {
    if (TakeIf("MATCH")) {
      std::string name;
      if (!TakeName(&name))
        return false;
    } else if (TakeIf("ON")) {
      if (!TakeIf("DELETE") && !TakeIf("UPDATE") && !TakeIf("INSERT"))
        return false;
      if (TakeIf("SET")) {
        if (!TakeIf("NULL") && !TakeIf("DEFAULT"))
          return false;
      } else if (!TakeIf("CASCADE") && !TakeIf("RESTRICT")) {
        return false;
      }
    } else {
      return true;
    }
  }
}

bool CreateParser::ParseNameList(std::vector<std::string>* names) {
  if (!TakeIf(TokenKind::kLeftParen))
    return false;
  do {
    std::string name;
    if (!TakeName(&name))
      return false;
    TakeIf("ASC") || TakeIf("DESC");
    names->push_back(std::move(name));
  } while (TakeIf(TokenKind::kComma));
  return TakeIf(TokenKind::kRightParen);
}

bool CreateParser::ParseTableConstraint(TableDefinition* table) {
  if (TakeIf("CONSTRAINT")) {
    std::string name;
    return TakeName(&name);
  }
  if (TakeIf("CHECK"))
    return SkipGroup() && ParseConflict(nullptr);
  const bool primary = TakeIf("PRIMARY");
  if (primary && !TakeIf("KEY"))
    return false;
  const bool unique = !primary && TakeIf("UNIQUE");
  const bool foreign = !primary && !unique && TakeIf("FOREIGN");
  if (foreign && !TakeIf("KEY"))
    return false;
  if (!primary && !unique && !foreign)
    return false;

  std::vector<std::string> names;
  if (!ParseNameList(&names))
    return false;
  if (foreign) {
    return TakeIf("REFERENCES") && ParseReferences() &&
           (TakeIf("NOT") ? TakeIf("DEFERRABLE") : (TakeIf("DEFERRABLE"), true)) &&
           (!TakeIf("INITIALLY") || TakeIf("DEFERRED") || TakeIf("IMMEDIATE"));
  }
  std::vector<size_t> columns;
  for (const std::string& name : names) {
    std::optional<size_t> column = FindColumn(*table, name);
    if (!column)
      return false;
    columns.push_back(*column);
  }
  bool replace = false;
  if (!ParseConflict(&replace))
    return false;
  if (primary)
    return AddPrimaryKey(table, std::move(columns), replace);
  table->automatic_indices.push_back({std::move(columns), replace});
  return true;
}

bool CreateParser::AddPrimaryKey(TableDefinition* table, std::vector<size_t> columns,
                                 bool replace) {
  if (has_primary_key_)
    return false;
  has_primary_key_ = true;
  // Only a key on exactly one column whose type is exactly INTEGER makes
  // that column the rowid; INT, INTEGER(10) and compound keys get an index.
  if (columns.size() == 1) {
    const std::optional<std::string>& type = table->columns[columns[0]].type;
    if (type && EqualsIgnoringCase(*type, "INTEGER")) {
      table->rowid_column = columns[0];
      return true;
    }
  }
  table->automatic_indices.push_back({std::move(columns), replace});
  return true;
}

std::optional<IndexDefinition> CreateParser::ParseIndex() {
  IndexDefinition index;
  if (!TakeName(&index.name) || !TakeIf("ON") || !TakeName(&index.table))
    return std::nullopt;
  // A database-qualified table: the table is the second name.
  if (TakeIf(TokenKind::kDot) && !TakeName(&index.table))
    return std::nullopt;
  if (!ParseNameList(&index.columns) || !ParseConflict(&index.replace) || !ParseEnd())
    return std::nullopt;
  return index;
}

}  // namespace

Definition ParseCreateStatement(std::string_view sql) {
  return CreateParser(sql).Parse();
}

std::string AutomaticIndexName(std::string_view table, size_t number) {
  return std::string("(").append(table).append(" autoindex ").append(std::to_string(number)) + ")";
}

}  // namespace sqlite2::sql
