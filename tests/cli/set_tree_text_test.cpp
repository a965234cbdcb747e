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
