#include "tests/support/fontdb_generator.h"

#include <algorithm>
#include <vector>

namespace qbfa_test {
namespace {

using sqlite2::Status;
using sqlite2::writer::Database;
using sqlite2::writer::Row;

// A small deterministic generator: the same seed gives the same library on
// every machine, which std::uniform_int_distribution does not promise.
class Random {
 public:
  explicit Random(uint32_t seed) : state_(seed * 0x9e3779b97f4a7c15ull + 1) {}
  uint32_t Below(uint32_t bound) {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 7;
    state_ ^= state_ << 17;
    return static_cast<uint32_t>(state_ % bound);
  }
  template <typename T, size_t N>
  const T& Pick(const T (&items)[N]) {
    return items[Below(N)];
  }

 private:
  uint64_t state_;
};

constexpr const char* kFamilyStarts[] = {"Korvel",    "Oberlin", "Lumen",    "Tamsin",  "Ferrand",
                                         "Marchetti", "Quillon", "Pellucid", "Halvard", "Salton",
                                         "Brisk",     "Corvina", "Dunmore",  "Elspeth", "Garrow"};
constexpr const char* kFamilyEnds[] = {"Sans",   "Serif", "Grotesk", "Book", "Display",   "Mono",
                                       "Script", "Text",  "Rounded", "Slab", "Condensed", "Gothic"};
constexpr const char* kStyles[] = {"Regular", "Italic", "Bold",     "Bold Italic", "Light",
                                   "Medium",  "Thin",   "SemiBold", "Black",       "Condensed"};
constexpr const char* kFoundries[] = {"Atelier Vasseur", "Northgate Type", "Bluefield Foundry",
                                      "Okapi Digital",   "Halden & Roos",  "Kestrel Letterworks"};
constexpr const char* kFolders[] = {"~/Library/Fonts/", "/Library/Fonts/",
                                    "/Network/Library/Fonts/", "~/Fonts/Licensed/",
                                    "/Users/Shared/Fonts/"};
constexpr const char* kSetTopics[] = {"Projects",  "Web",     "Print",   "Client",  "Headlines",
                                      "Body Text", "Display", "Archive", "Posters", "Branding"};

struct FontFormat {
  const char* type;
  const char* extension;
};
constexpr FontFormat kFormats[] = {
    {"(OTF)", ".otf"}, {"(OTF)", ".otf"}, {"(TTF)", ".ttf"}, {"(TT)", ".ttf"}, {"(T1)", ".pfb"}};

std::string Padded(int number, size_t width) {
  std::string text = std::to_string(number);
  return std::string(width > text.size() ? width - text.size() : 0, '0') + text;
}

std::string WithoutSpaces(std::string text) {
  text.erase(std::remove(text.begin(), text.end(), ' '), text.end());
  return text;
}

// Sets are grouped into complete binary trees `depth` levels deep, numbered
// like a heap inside each group: the parent of the j-th set of a group
// (from 1) is the (j/2)-th.
struct SetTree {
  int group_size;
  int ParentOf(int set) const {  // 0-based; -1 for a top-level set
    const int j = set % group_size + 1;
    return j == 1 ? -1 : set - j + j / 2;
  }
};

}  // namespace

FontLibrary GenerateFontLibrary(const FontDatabaseShape& shape) {
  const bool integer_ids = shape.font_ids == FontDatabaseShape::FontIds::kIntegerPrimaryKey;
  const int font_count = std::max(shape.font_count, 0);
  const int fonts_per_set = std::max(shape.fonts_per_set, 1);
  const int set_count = std::max(1, (font_count + fonts_per_set - 1) / fonts_per_set);
  const SetTree tree = {(1 << std::clamp(shape.nesting_depth, 1, 20)) - 1};
  Random random(shape.seed);
  FontLibrary library;
  library.font_ids = shape.font_ids;

  for (int set = 0; set < set_count; ++set) {
    library.sets.push_back(
        {std::nullopt, std::string(random.Pick(kSetTopics)) + " " + Padded(set + 1, 3),
         random.Below(3) == 0 ? std::optional<std::string>("Collected for a job") : std::nullopt});
  }

  std::vector<std::vector<int>> fonts_in_set(set_count);
  std::string family;
  for (int font = 1; font <= font_count; ++font) {
    // A family every few fonts, as installed families come in a few styles.
    if (family.empty() || random.Below(5) == 0) {
      family = std::string(random.Pick(kFamilyStarts)) + " " + random.Pick(kFamilyEnds);
    }
    const std::string style = random.Pick(kStyles);
    const FontFormat& format = random.Pick(kFormats);
    const std::string version = "Version " + std::to_string(1 + random.Below(4)) + "." +
                                Padded(static_cast<int>(random.Below(1000)), 3);
    const std::string path = std::string(random.Pick(kFolders)) + WithoutSpaces(family) + "-" +
                             WithoutSpaces(style) + format.extension;
    library.fonts.push_back(
        {integer_ids ? std::nullopt : std::optional<std::string>(std::to_string(font)), family,
         family + " " + style, std::string(random.Pick(kFoundries)), style,
         std::string(format.type), version, path});

    // The first set takes fonts in runs; the others are anywhere.
    std::vector<int> sets = {std::min((font - 1) / fonts_per_set, set_count - 1)};
    const int wanted = std::min(std::max(shape.sets_per_font, 1), set_count);
    while (static_cast<int>(sets.size()) < wanted) {
      const int set = static_cast<int>(random.Below(static_cast<uint32_t>(set_count)));
      if (std::find(sets.begin(), sets.end(), set) == sets.end())
        sets.push_back(set);
    }
    for (int set : sets)
      fonts_in_set[set].push_back(font);
  }

  // Relationships grouped by parent: its child sets first, then its fonts.
  std::vector<std::vector<int>> children(set_count);
  for (int set = 0; set < set_count; ++set) {
    if (const int parent = tree.ParentOf(set); parent >= 0)
      children[parent].push_back(set);
  }
  for (int set = 0; set < set_count; ++set) {
    for (int child : children[set])
      library.relationships.push_back({set + 1, Relationship::Child::kSet, child + 1});
    for (int font : fonts_in_set[set])
      library.relationships.push_back({set + 1, Relationship::Child::kFont, font});
  }
  return library;
}

Status WriteFontLibrary(const FontLibrary& library, Database* db) {
  const bool integer_ids = library.font_ids == FontDatabaseShape::FontIds::kIntegerPrimaryKey;
  for (const char* sql : {
           "CREATE TABLE sets(id INTEGER PRIMARY KEY, set_displayName TEXT, set_comment TEXT)",
           integer_ids ? "CREATE TABLE fonts(id INTEGER PRIMARY KEY, font_family TEXT, "
                         "font_displayName TEXT, font_foundry TEXT, font_style TEXT, "
                         "font_type TEXT, font_version TEXT, font_path TEXT)"
                       : "CREATE TABLE fonts(id TEXT, font_family TEXT, font_displayName TEXT, "
                         "font_foundry TEXT, font_style TEXT, font_type TEXT, font_version TEXT, "
                         "font_path TEXT)",
           integer_ids ? "CREATE TABLE rel(id INTEGER PRIMARY KEY, parentID INTEGER, "
                         "childtype INTEGER, childid INTEGER)"
                       : "CREATE TABLE rel(parentID INTEGER, childtype INTEGER, childid TEXT)",
       }) {
    if (Status status = db->CreateTable(sql); !status.ok())
      return status;
  }
  for (const auto& [table, rows] : {std::pair{"sets", &library.sets}, {"fonts", &library.fonts}}) {
    for (const Row& row : *rows) {
      if (Status status = db->Insert(table, row); !status.ok())
        return status;
    }
  }
  for (const Relationship& link : library.relationships) {
    Row row = {std::to_string(link.parent), std::to_string(static_cast<int>(link.type)),
               std::to_string(link.child)};
    if (integer_ids)
      row.insert(row.begin(), std::nullopt);
    if (Status status = db->Insert("rel", std::move(row)); !status.ok())
      return status;
  }
  return Status::Ok();
}

Status BuildFontDatabase(const FontDatabaseShape& shape, Database* db) {
  return WriteFontLibrary(GenerateFontLibrary(shape), db);
}

Status WriteFontDatabase(const FontDatabaseShape& shape, const std::string& path) {
  Database db(shape.file);
  if (Status status = BuildFontDatabase(shape, &db); !status.ok())
    return status;
  return db.WriteFile(path);
}

}  // namespace qbfa_test
