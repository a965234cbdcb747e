#include "tests/support/sample_library.h"

#include <algorithm>
#include <string_view>
#include <vector>

namespace qbfa_test {
namespace {

using sqlite2::Status;
using sqlite2::writer::Database;
using sqlite2::writer::Row;

struct Family {
  std::string_view name;
  std::string_view foundry;
  std::string_view type;  // the font manager's format label
  std::string_view folder;
  std::vector<std::string_view> styles;
};

// Fonts are numbered in this order, family by family, style by style, from 1.
const std::vector<Family>& Families() {
  static const std::vector<Family> families = {
      {"Aldine Roman",
       "Castellan Type",
       "(OTF)",
       "/Library/Fonts/",
       {"Regular", "Italic", "Semibold", "Bold"}},
      {"Brenner Grotesk",
       "Northfield Foundry",
       "(OTF)",
       "~/Library/Fonts/",
       {"Light", "Regular", "Medium", "Bold", "Black"}},
      {"Calloway Serif",
       "Harrow & Finch",
       "(TTF)",
       "/Library/Fonts/",
       {"Regular", "Italic", "Bold"}},
      {"Dunmore Mono", "Ostrander Digital", "(TT)", "~/Library/Fonts/", {"Regular", "Bold"}},
      {"Elbe Sans",
       "Castellan Type",
       "(OTF)",
       "/Library/Fonts/",
       {"Thin", "Light", "Regular", "Italic", "Bold", "Bold Italic"}},
      {"Fairhaven Script", "Lark Letterworks", "(T1)", "~/Library/Fonts/", {"Regular"}},
      {"Gresham Display",
       "Harrow & Finch",
       "(OTF)",
       "~/Library/Fonts/",
       {"Regular", "Bold", "Ultra"}},
      {"Holloway Text",
       "Northfield Foundry",
       "(T1)",
       "/Library/Fonts/",
       {"Roman", "Italic", "Bold"}},
      {"Isola Condensed", "Ostrander Digital", "(TTF)", "/Library/Fonts/", {"Regular", "Bold"}},
      {"Juniper Rounded",
       "Lark Letterworks",
       "(OTF)",
       "~/Library/Fonts/",
       {"Regular", "Medium", "Bold"}},
      {"Kestrel Slab", "Castellan Type", "(TTF)", "/Library/Fonts/", {"Regular", "Bold"}},
      {"Larkspur Book",
       "Harrow & Finch",
       "(OTF)",
       "~/Library/Fonts/",
       {"Regular", "Italic", "Bold", "Bold Italic"}},
      {"Meridian Gothic",
       "Northfield Foundry",
       "(OTF)",
       "/Library/Fonts/",
       {"Regular", "Demi", "Heavy"}},
  };
  return families;
}

std::string Extension(std::string_view type) {
  if (type == "(T1)")
    return ".pfb";
  return type == "(OTF)" ? ".otf" : ".ttf";
}

std::string WithoutSpaces(std::string_view text) {
  std::string result(text);
  result.erase(std::remove(result.begin(), result.end(), ' '), result.end());
  return result;
}

// The id of one font; 0 when the library has no such font.
int FontId(std::string_view family, std::string_view style) {
  int id = 0;
  for (const Family& candidate : Families()) {
    for (std::string_view candidate_style : candidate.styles) {
      ++id;
      if (candidate.name == family && candidate_style == style)
        return id;
    }
  }
  return 0;
}

// Every font of a family.
std::vector<int> FamilyIds(std::string_view family) {
  std::vector<int> ids;
  for (const Family& candidate : Families()) {
    if (candidate.name == family) {
      for (std::string_view style : candidate.styles)
        ids.push_back(FontId(family, style));
    }
  }
  return ids;
}

struct Set {
  int id;
  std::string_view name;
  std::string_view comment;  // empty: NULL
  std::vector<int> children;
  std::vector<int> fonts;
};

std::vector<int> Joined(std::initializer_list<std::vector<int>> parts) {
  std::vector<int> all;
  for (const std::vector<int>& part : parts)
    all.insert(all.end(), part.begin(), part.end());
  return all;
}

std::vector<Set> Sets(int version) {
  std::vector<Set> sets = {
      {1,
       "Body Text",
       "Long reading",
       {},
       Joined({FamilyIds("Aldine Roman"), FamilyIds("Larkspur Book"), FamilyIds("Holloway Text")})},
      {2,
       "Headlines",
       "",
       {},
       Joined({FamilyIds("Gresham Display"),
               {FontId("Brenner Grotesk", "Bold"), FontId("Brenner Grotesk", "Black"),
                FontId("Meridian Gothic", "Heavy")}})},
      {3, "Client Work", "Active jobs", {4, 5}, {}},
      {4,
       "Harbor Coffee Co.",
       "",
       {},
       Joined({FamilyIds("Juniper Rounded"), FamilyIds("Fairhaven Script")})},
      {5, "Northwind Books", "", {6, 7}, {FontId("Calloway Serif", "Regular")}},
      {6,
       "Covers",
       "",
       {},
       Joined({{FontId("Gresham Display", "Ultra")}, FamilyIds("Isola Condensed")})},
      {7,
       "Interiors",
       "",
       {},
       Joined({FamilyIds("Calloway Serif"),
               {FontId("Holloway Text", "Roman"), FontId("Holloway Text", "Italic")}})},
      {8,
       "Web",
       "Licensed for web use",
       {},
       Joined({FamilyIds("Elbe Sans"),
               {FontId("Brenner Grotesk", "Regular"), FontId("Brenner Grotesk", "Medium"),
                FontId("Kestrel Slab", "Regular")}})},
      {9, "Code", "", {}, FamilyIds("Dunmore Mono")},
      {10,
       "__Activated",
       "",
       {},
       {FontId("Elbe Sans", "Regular"), FontId("Aldine Roman", "Regular")}},
      {11, "__Recent", "", {}, {FontId("Meridian Gothic", "Regular")}},
      {12, "Last Import", "", {}, FamilyIds("Meridian Gothic")},
      {13, "Wish List", "Fonts to license", {}, {}},
      {14, "Print Archive", "", {15, 7}, {FontId("Kestrel Slab", "Bold")}},
      {15,
       "2019 Catalogue",
       "",
       {},
       {FontId("Calloway Serif", "Italic"), FontId("Elbe Sans", "Light")}},
  };
  if (version == 2) {
    auto named = [&sets](std::string_view name) -> Set& {
      return *std::find_if(sets.begin(), sets.end(), [&](const Set& s) { return s.name == name; });
    };
    const int moved = FontId("Kestrel Slab", "Regular");
    std::erase(named("Web").fonts, moved);
    named("Code").fonts.push_back(moved);
    sets.push_back({16,
                    "Spring Campaign",
                    "Posters and flyers",
                    {},
                    {FontId("Juniper Rounded", "Bold"), FontId("Brenner Grotesk", "Black"),
                     FontId("Fairhaven Script", "Regular")}});
  }
  return sets;
}

}  // namespace

std::string SampleLibraryFileName(int version) {
  return version == 2 ? "FontAgent-2.db" : "FontAgent.db";
}

Status BuildSampleLibrary(int version, Database* db) {
  for (const char* sql : {
           "CREATE TABLE sets(id INTEGER PRIMARY KEY, set_displayName TEXT, set_comment TEXT)",
           "CREATE TABLE fonts(id INTEGER PRIMARY KEY, font_family TEXT, font_displayName TEXT, "
           "font_foundry TEXT, font_style TEXT, font_type TEXT, font_version TEXT, "
           "font_path TEXT)",
           "CREATE TABLE rel(id INTEGER PRIMARY KEY, parentID INTEGER, childtype INTEGER, "
           "childid INTEGER)",
       }) {
    if (Status status = db->CreateTable(sql); !status.ok())
      return status;
  }

  int font = 0;
  for (const Family& family : Families()) {
    for (std::string_view style : family.styles) {
      ++font;
      Row row = {std::nullopt,
                 std::string(family.name),
                 std::string(family.name) + " " + std::string(style),
                 std::string(family.foundry),
                 std::string(style),
                 std::string(family.type),
                 "Version " + std::to_string(1 + font % 3) + "." + std::to_string(100 + font),
                 std::string(family.folder) + WithoutSpaces(family.name) + "-" +
                     WithoutSpaces(style) + Extension(family.type)};
      if (Status status = db->Insert("fonts", std::move(row)); !status.ok())
        return status;
    }
  }

  const std::vector<Set> sets = Sets(version);
  for (const Set& set : sets) {
    Row row = {std::to_string(set.id), std::string(set.name),
               set.comment.empty() ? std::nullopt : std::optional<std::string>(set.comment)};
    if (Status status = db->Insert("sets", std::move(row)); !status.ok())
      return status;
  }
  // As the font manager files them: a set's child sets, then its fonts.
  auto relate = [db](int parent, int type, int child) {
    return db->Insert(
        "rel", {std::nullopt, std::to_string(parent), std::to_string(type), std::to_string(child)});
  };
  for (const Set& set : sets) {
    for (int child : set.children) {
      if (Status status = relate(set.id, 2, child); !status.ok())
        return status;
    }
    for (int id : set.fonts) {
      if (Status status = relate(set.id, 1, id); !status.ok())
        return status;
    }
  }
  return Status::Ok();
}

}  // namespace qbfa_test
