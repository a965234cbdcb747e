#include "sqlite2/statement_cache.h"

#include <utility>

#include "sqlite2/sql/tokenizer.h"

namespace sqlite2 {

std::shared_ptr<const PreparedSelect> StatementCache::Find(std::string_view sql, size_t begin,
                                                           Literals* literals, size_t* end) const {
  for (const Entry& entry : entries_) {
    if (Matches(entry, sql, begin, literals, end))
      return entry.statement;
  }
  return nullptr;
}

bool StatementCache::Matches(const Entry& entry, std::string_view sql, size_t begin,
                             Literals* literals, size_t* end) {
  // Most entries differ from the text in their first piece already.
  if (!sql.substr(begin).starts_with(entry.pieces[0]))
    return false;
  *literals = entry.statement->literals();
  size_t pos = begin;
  for (size_t i = 0; i < entry.pieces.size(); ++i) {
    if (i > 0 && !sql.substr(pos).starts_with(entry.pieces[i]))
      return false;
    pos += entry.pieces[i].size();
    if (i == entry.parameter_slots.size())
      break;
    const std::string_view parameter = sql::ParameterAt(sql, pos);
    if (parameter.empty())
      return false;
    (*literals)[entry.parameter_slots[i]] = sql::Dequote(parameter);
    pos += parameter.size();
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
    if (!slot || statement->literals()[*slot] != sql::Dequote(parameter))
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
