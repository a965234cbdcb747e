#include "sqlite2/statement_cache.h"

#include <utility>

#include "sqlite2/sql/tokenizer.h"

namespace sqlite2 {

std::shared_ptr<const PreparedSelect> StatementCache::Find(std::string_view sql, size_t begin,
                                                           BoundLiterals* literals,
                                                           size_t* end) const {
  for (const Entry& entry : entries_) {
    if (Matches(entry, sql, begin, literals, end))
      return entry.statement;
  }
  return nullptr;
}

bool StatementCache::Matches(const Entry& entry, std::string_view sql, size_t begin,
                             BoundLiterals* literals, size_t* end) {
  // Most entries differ from the text in their first piece already.
  if (!sql.substr(begin).starts_with(entry.pieces[0]))
    return false;
  size_t pos = begin + entry.pieces[0].size();
  const std::span<const LiteralValue> written = entry.statement->literals();
  literals->values.assign(written.begin(), written.end());
  // Sized before any view into it is taken.
  literals->unquoted.resize(entry.parameter_slots.size());
  for (size_t i = 0; i < entry.parameter_slots.size(); ++i) {
    const std::string_view parameter = sql::ParameterAt(sql, pos);
    if (parameter.empty())
      return false;
    literals->values[entry.parameter_slots[i]] = sql::Dequote(parameter, &literals->unquoted[i]);
    pos += parameter.size();
    if (!sql.substr(pos).starts_with(entry.pieces[i + 1]))
      return false;
    pos += entry.pieces[i + 1].size();
  }
  if (entry.to_end && pos != sql.size())
    return false;
  *end = pos;
  return true;
}

void StatementCache::Keep(const sql::StatementShape& shape,
                          std::shared_ptr<const PreparedSelect> statement) {
  Entry entry;
  size_t pos = 0;
  for (std::string_view parameter : shape.parameters) {
    const size_t offset = static_cast<size_t>(parameter.data() - shape.text.data());
    const std::optional<size_t> slot = statement->SlotAt(offset);
    const LiteralValue written = slot ? statement->literals()[*slot] : std::nullopt;
    if (!written || *written != sql::Dequote(parameter))
      return;
    entry.parameter_slots.push_back(*slot);
    entry.pieces.emplace_back(shape.text.substr(pos, offset - pos));
    pos = offset + parameter.size();
  }
  entry.pieces.emplace_back(shape.text.substr(pos));
  entry.to_end = shape.to_end;
  if (entries_.size() >= kCapacity)
    entries_.clear();
  entry.statement = std::move(statement);
  entries_.push_back(std::move(entry));
}

}  // namespace sqlite2
