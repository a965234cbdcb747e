// The statement cache: prepared statements kept by the connection and found
// again by their text, so that a statement run again - with the same text,
// or with other strings in its WHERE clause - is neither parsed nor planned
// again.
//
// What it matches. A kept statement serves any text equal to its own but
// for its parameters, the single-quoted strings of its WHERE clause
// (sql/statement_shape.h): "... WHERE id = '17'" and "... WHERE id = '4'"
// share one prepared statement, each run binding its own values to the
// literal slots (prepared_select.h). That is sound because two such texts
// tokenize alike - no token's scan looks past a quote without taking it
// in - and parse alike, the parameters giving only the values of string
// literals, and because a plan depends on a statement's shape, never on
// the values of its literals.
//
// Lifetime. The cache belongs to the connection (database.h) and lasts as
// long as the schema its statements were resolved against: whenever the
// schema is loaded again, the cache is emptied. It does not depend on the
// read lock, and keeps nothing read from the file but the schema.
#ifndef SQLITE2_STATEMENT_CACHE_H_
#define SQLITE2_STATEMENT_CACHE_H_

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "sqlite2/prepared_select.h"
#include "sqlite2/sql/statement_shape.h"

namespace sqlite2 {

class StatementCache {
 public:
  // Enough for the statements a program runs over and over and a session
  // of ad hoc ones; a full cache starts over.
  static constexpr size_t kCapacity = 64;

  // The kept statement whose text begins at `begin` of `sql` (a
  // StatementStart()), the values of its literals there (views into the
  // statement and into `sql`), and where the statement ends; null when
  // none is kept.
  std::shared_ptr<const PreparedSelect> Find(std::string_view sql, size_t begin,
                                             BoundLiterals* literals, size_t* end) const;
  // Keeps `statement`, prepared from `shape`'s own text, when each of the
  // shape's parameters is one of its literals - which a string followed by
  // a dot, say, is not.
  void Keep(const sql::StatementShape& shape, std::shared_ptr<const PreparedSelect> statement);
  void Clear() { entries_.clear(); }

 private:
  struct Entry {
    std::shared_ptr<const PreparedSelect> statement;
    // The text around the parameters: one more piece than parameters.
    std::vector<std::string> pieces;
    std::vector<size_t> parameter_slots;  // the slot of each parameter
    // Whether the text ran to the end of the input rather than to a ';'.
    bool to_end = false;
  };
  // Whether `entry` matches the text at `begin`; `literals` gets the
  // values of its literals there, garbage when it does not match.
  static bool Matches(const Entry& entry, std::string_view sql, size_t begin,
                      BoundLiterals* literals, size_t* end);

  std::vector<Entry> entries_;
};

}  // namespace sqlite2

#endif  // SQLITE2_STATEMENT_CACHE_H_
