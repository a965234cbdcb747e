#include "cli/set_tree_text.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

namespace {

using cf::Ref;

Ref<cf::Object> Font(std::initializer_list<std::pair<const char*, const char*>> keys) {
  auto font = cf::Dictionary::Create();
  for (const auto& [key, value] : keys)
    font->Set(key, cf::MakeString(value));
  return font;
}

Ref<cf::Array> List(std::initializer_list<Ref<cf::Object>> items) {
  auto list = cf::Array::Create();
  for (const Ref<cf::Object>& item : items)
    list->Append(item);
  return list;
}

// A set as the reader makes one; empty lists are left out, as there.
Ref<cf::Object> Set(const char* name, std::initializer_list<Ref<cf::Object>> children,
                    std::initializer_list<Ref<cf::Object>> fonts) {
  auto set = cf::Dictionary::Create();
  if (name != nullptr)
    set->Set("SetName", cf::MakeString(name));
  set->Set("FontSetType", cf::MakeString("FAP"));
  if (children.size() > 0)
    set->Set("Children", List(children));
  if (fonts.size() > 0)
    set->Set("Fonts", List(fonts));
  return set;
}

Ref<cf::Object> Regular() {
  return Font({{"kQBFontInfoPostScriptName", "Korvel Sans Regular"},
               {"kQBFontInfoFamilyName", "Korvel Sans"},
               {"kQBFontInfoFontFormat", "OTTO"},
               {"kQBFontInfoFilePath", "/Library/Fonts/KorvelSans-Regular.otf"}});
}

TEST(SetTreeText, ShowsSetsChildSetsAndFonts) {
  struct Case {
    const char* name;
    Ref<cf::Object> tree;
    std::string text;
  };
  const Case cases[] = {
      {"nested sets, child sets before fonts",
       List({Set("Client Work",
                 {Set("Harbor Coffee", {},
                      {Font({{"kQBFontInfoPostScriptName", "Oberlin Grotesk Bold"},
                             {"kQBFontInfoFontFormat", "true"},
                             {"kQBFontInfoFilePath", "/Library/Fonts/OberlinGrotesk-Bold.ttf"}})})},
                 {Regular()}),
             Set("Body Text", {},
                 {Font({{"kQBFontInfoPostScriptName", "Lumen Book"},
                        {"kQBFontInfoFontFormat", "LWFN"},
                        {"kQBFontInfoFilePath", "/Library/Fonts/LumenBook.pfb"}})})}),
       "+ Client Work\n"
       "    + Harbor Coffee\n"
       "        - Oberlin Grotesk Bold (TrueType)  /Library/Fonts/OberlinGrotesk-Bold.ttf\n"
       "    - Korvel Sans Regular (OpenType)  /Library/Fonts/KorvelSans-Regular.otf\n"
       "+ Body Text\n"
       "    - Lumen Book (PostScript Type 1)  /Library/Fonts/LumenBook.pfb\n"},
      {"fonts with less to show",
       List({Set(
           "Odds", {},
           {Font({{"kQBFontInfoFamilyName", "Tamsin Serif"}, {"kQBFontInfoFontFormat", "(XYZ)"}}),
            Font({{"id", "7"}})})}),
       "+ Odds\n"
       "    - Tamsin Serif (XYZ)\n"
       "    - (unnamed font)\n"},
      {"what a set tree does not hold",
       List({Set(nullptr, {}, {cf::MakeString("stray")}), cf::MakeString("loose")}),
       "+ (unnamed set)\n"
       "    - ? (a string, not a font)\n"
       "+ ? (a string, not a set)\n"},
      {"no sets", cf::Array::Create(), "(no font sets)\n"},
      {"not a list", Regular(), "? (a dictionary, not a list of sets)\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(SetTreeText(c.tree.get()), c.text);
  }
}

TEST(PropertyListJson, WritesEveryValueKind) {
  auto dictionary = cf::Dictionary::Create();
  dictionary->Set("SetName", cf::MakeString("Quotes \" and \\ and \u00e9"));
  dictionary->Set("HasParents", cf::Boolean::True());
  dictionary->Set("Empty", cf::Dictionary::Create());
  dictionary->Set("Children", List({cf::Array::Create(), cf::Boolean::False()}));
  Ref<cf::Array> tree = List({dictionary});

  EXPECT_EQ(PropertyListJson(tree.get()),
            "[\n"
            "  {\n"
            "    \"SetName\": \"Quotes \\\" and \\\\ and \u00e9\",\n"
            "    \"HasParents\": true,\n"
            "    \"Empty\": {},\n"
            "    \"Children\": [\n"
            "      [],\n"
            "      false\n"
            "    ]\n"
            "  }\n"
            "]");
}

}  // namespace

TEST(SetTreeText, LeavesOutFontTextsThatAreNotStrings) {
  auto font = cf::Dictionary::Create();
  font->Set("kQBFontInfoPostScriptName", cf::Boolean::True());
  font->Set("kQBFontInfoFamilyName", cf::MakeString("Tamsin Serif"));
  font->Set("kQBFontInfoFontFormat", List({cf::MakeString("OTTO")}));
  font->Set("kQBFontInfoFilePath", cf::Dictionary::Create());
  EXPECT_EQ(SetTreeText(List({Set("Odds", {}, {font})}).get()),
            "+ Odds\n"
            "    - Tamsin Serif\n");
}

// A tree `depth` arrays deep around one string, as JSON.
struct Nested {
  Ref<cf::Object> tree;
  std::string json;
};

Nested NestedArrays(int depth) {
  Nested nested{cf::MakeString("core"), "\"core\""};
  for (int level = depth - 1; level >= 0; --level) {
    const std::string outer(static_cast<size_t>(level) * 2, ' ');
    nested.tree = List({nested.tree});
    nested.json = "[\n" + outer + "  " + nested.json + "\n" + outer + "]";
  }
  return nested;
}

TEST(PropertyListJson, WritesEveryShapeOfContainer) {
  auto odd_keys = cf::Dictionary::Create();
  odd_keys->Set("tab\there \"quoted\"", cf::Boolean::True());
  odd_keys->Set("bytes \xff\xc3", cf::MakeString("\xf0\x9f\x98\x80 \x01"));
  auto one_entry = cf::Dictionary::Create();
  one_entry->Set("Fonts", List({cf::MakeString("a")}));
  const Nested deep = NestedArrays(40);

  struct Case {
    const char* name;
    Ref<cf::Object> tree;
    std::string json;
  };
  const Case cases[] = {
      {"a string alone", cf::MakeString("x"), "\"x\""},
      {"one element", List({cf::Boolean::False()}), "[\n  false\n]"},
      {"one entry holding one element", one_entry, "{\n  \"Fonts\": [\n    \"a\"\n  ]\n}"},
      {"keys and strings that need escapes", odd_keys,
       "{\n"
       "  \"tab\\there \\\"quoted\\\"\": true,\n"
       "  \"bytes \\\\xff\\\\xc3\": \"\xf0\x9f\x98\x80 \\u0001\"\n"
       "}"},
      {"40 levels", deep.tree, deep.json},
      {"nothing", nullptr, "null"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(PropertyListJson(c.tree.get()), c.json);
  }
}
