#include "tests/soak/font_moves.h"

#include <algorithm>
#include <stdexcept>

#include "tests/sqlite2_writer/database.h"

namespace qbfa_soak {

using qbfa_test::Relationship;

bool FontMoves::MoveOne() {
  std::vector<size_t> font_links;
  for (size_t i = 0; i < library_.relationships.size(); ++i) {
    if (library_.relationships[i].type == Relationship::Child::kFont)
      font_links.push_back(i);
  }
  const int set_count = static_cast<int>(library_.sets.size());
  // A font filed in every set has nowhere to go; another may.
  std::shuffle(font_links.begin(), font_links.end(), random_);
  for (size_t moving : font_links) {
    const int font = library_.relationships[moving].child;
    std::vector<int> elsewhere;
    for (int set = 1; set <= set_count; ++set) {
      const bool filed = std::any_of(library_.relationships.begin(), library_.relationships.end(),
                                     [&](const Relationship& link) {
                                       return link.type == Relationship::Child::kFont &&
                                              link.child == font && link.parent == set;
                                     });
      if (!filed)
        elsewhere.push_back(set);
    }
    if (elsewhere.empty())
      continue;
    library_.relationships.erase(library_.relationships.begin() +
                                 static_cast<std::ptrdiff_t>(moving));
    library_.relationships.push_back(
        {elsewhere[random_() % elsewhere.size()], Relationship::Child::kFont, font});
    return true;
  }
  return false;
}

std::vector<uint8_t> LibraryImage(const qbfa_test::FontLibrary& library) {
  sqlite2::writer::Database db;
  if (sqlite2::Status status = qbfa_test::WriteFontLibrary(library, &db); !status.ok())
    throw std::runtime_error("cannot build the library: " + status.message());
  return db.Bytes();
}

}  // namespace qbfa_soak
