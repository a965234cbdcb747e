#include "platform/xml.h"

#include <gtest/gtest.h>
#include <plist/plist.h>

#include <cstdlib>
#include <string>

namespace cf {
namespace {

constexpr char kHead[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";

Ref<Array> ArrayOf(std::initializer_list<Ref<Object>> items) {
  Ref<Array> array = Array::Create();
  for (const Ref<Object>& item : items)
    array->Append(item);
  return array;
}

Ref<Array> Nested(int depth) {
  Ref<Array> top = Array::Create();
  Array* tail = top.get();
  for (int i = 0; i < depth; ++i) {
    Ref<Array> next = Array::Create();
    tail->Append(next);
    tail = next.get();
  }
  return top;
}

TEST(XmlTest, WritesThePlatformsBytes) {
  Ref<Dictionary> font = Dictionary::Create();
  font->Set("kQBFontInfoPostScriptName", MakeString("Caf\xC3\xA9 Sans"));
  font->Set("kQBFontInfoFilePath", MakeString("/Fonts/A&B <Bold>.ttf"));
  Ref<Dictionary> set = Dictionary::Create();
  set->Set("SetName", MakeString("Tom's \"Best\""));
  set->Set("z", MakeString(""));
  set->Set("\xC3\xA9", MakeString("after z"));
  set->Set("\xEF\xBC\xA1", MakeString("U+FF21 sorts last"));
  set->Set("\xF0\x9F\x98\x80", MakeString("surrogates sort before U+FF21"));
  set->Set("Fonts", ArrayOf({font, Boolean::False()}));
  set->Set("Children", Array::Create());
  set->Set("HasParents", Boolean::True());
  set->Set("Extra", Dictionary::Create());
  set->Set("a&b", MakeString("]]>"));

  std::string expected = std::string(kHead) +
                         "<dict>\n"
                         "\t<key>Children</key>\n"
                         "\t<array/>\n"
                         "\t<key>Extra</key>\n"
                         "\t<dict/>\n"
                         "\t<key>Fonts</key>\n"
                         "\t<array>\n"
                         "\t\t<dict>\n"
                         "\t\t\t<key>kQBFontInfoFilePath</key>\n"
                         "\t\t\t<string>/Fonts/A&amp;B &lt;Bold&gt;.ttf</string>\n"
                         "\t\t\t<key>kQBFontInfoPostScriptName</key>\n"
                         "\t\t\t<string>Caf\xC3\xA9 Sans</string>\n"
                         "\t\t</dict>\n"
                         "\t\t<false/>\n"
                         "\t</array>\n"
                         "\t<key>HasParents</key>\n"
                         "\t<true/>\n"
                         "\t<key>SetName</key>\n"
                         "\t<string>Tom's \"Best\"</string>\n"
                         "\t<key>a&amp;b</key>\n"
                         "\t<string>]]&gt;</string>\n"
                         "\t<key>z</key>\n"
                         "\t<string></string>\n"
                         "\t<key>\xC3\xA9</key>\n"
                         "\t<string>after z</string>\n"
                         "\t<key>\xF0\x9F\x98\x80</key>\n"
                         "\t<string>surrogates sort before U+FF21</string>\n"
                         "\t<key>\xEF\xBC\xA1</key>\n"
                         "\t<string>U+FF21 sorts last</string>\n"
                         "</dict>\n"
                         "</plist>\n";
  EXPECT_EQ(CFPropertyListCreateXMLData(set.get()), expected);

  EXPECT_EQ(CFPropertyListCreateXMLData(MakeString("alone").get()),
            std::string(kHead) + "<string>alone</string>\n</plist>\n");
  EXPECT_EQ(CFPropertyListCreateXMLData(Array::Create().get()),
            std::string(kHead) + "<array/>\n</plist>\n");
}

TEST(XmlTest, WritesASharedChildUnderEachParent) {
  Ref<Array> child = ArrayOf({MakeString("x")});
  Ref<Array> parent = ArrayOf({child, child});
  EXPECT_EQ(CFPropertyListCreateXMLData(parent.get()),
            std::string(kHead) +
                "<array>\n\t<array>\n\t\t<string>x</string>\n\t</array>\n"
                "\t<array>\n\t\t<string>x</string>\n\t</array>\n</array>\n</plist>\n");
}

TEST(XmlTest, RefusesWhatCannotBeWritten) {
  Ref<Array> self = Array::Create();
  self->Append(MakeString("a"));
  self->Append(self);
  Ref<Dictionary> a = Dictionary::Create(), b = Dictionary::Create();
  a->Set("b", ArrayOf({b}));
  b->Set("a", a);
  Ref<Dictionary> with_url = Dictionary::Create();
  with_url->Set("ok", MakeString("fine"));
  with_url->Set("path", ArrayOf({URL::CreateWithFileSystemPath("/Library")}));
  Ref<Dictionary> bad_key = Dictionary::Create();
  bad_key->Set("\xC3", MakeString("key is not UTF-8"));

  struct Case {
    const char* name;
    Ref<Object> root;
  };
  const Case cases[] = {
      {"null", nullptr},
      {"url", URL::CreateWithFileSystemPath("/Library")},
      {"nested url", with_url},
      {"self cycle", self},
      {"mutual cycle", a},
      {"string holding U+0000", MakeString(std::string_view("a\0b", 3))},
      {"key that is not UTF-8", bad_key},
      {"deeper than the writer can go", Nested(100000)},
  };
  for (const Case& c : cases)
    EXPECT_EQ(CFPropertyListCreateXMLData(c.root.get()), std::nullopt) << c.name;
}

TEST(XmlTest, RefusesExponentiallyLargeDocuments) {
  // Each level holds the one below twice: 2^40 nodes once written out.
  Ref<Array> level = ArrayOf({MakeString("leaf")});
  for (int i = 0; i < 40; ++i)
    level = ArrayOf({level, level});
  EXPECT_EQ(CFPropertyListCreateXMLData(level.get()), std::nullopt);
}

TEST(XmlTest, TreesSurviveARoundTripThroughTheParser) {
  Ref<Dictionary> set = Dictionary::Create();
  set->Set("SetName", MakeString("<&> \"quoted\" 'single' \xE2\x82\xAC \xF0\x9F\x98\x80"));
  set->Set("Fonts", ArrayOf({MakeString(""), MakeString("\t leading and trailing \n")}));
  set->Set("HasParents", Boolean::True());
  set->Set("Off", Boolean::False());
  set->Set("Empty array", Array::Create());
  set->Set("Empty dict", Dictionary::Create());
  set->Set("line\r\nbreaks", MakeString("cr\rlf\n"));

  const Ref<Object> trees[] = {
      set,
      ArrayOf({set, set, Array::Create()}),
      MakeString("&amp; stays literal"),
      Boolean::False(),
      Nested(200),
  };
  for (const Ref<Object>& tree : trees) {
    std::optional<cf::Data> xml = CFPropertyListCreateXMLData(tree.get());
    ASSERT_TRUE(xml.has_value());
    Ref<Object> back = CFPropertyListCreateFromXMLData(*xml);
    ASSERT_NE(back, nullptr) << *xml;
    EXPECT_TRUE(Equal(back.get(), tree.get())) << *xml;
    EXPECT_EQ(CFPropertyListCreateXMLData(back.get()), xml);
  }
}

std::string ToBinary(plist_t tree) {
  char* bytes = nullptr;
  uint32_t length = 0;
  plist_to_bin(tree, &bytes, &length);
  std::string result(bytes, length);
  plist_to_bin_free(bytes);
  plist_free(tree);
  return result;
}

TEST(XmlTest, ReadsBinaryPropertyLists) {
  plist_t dict = plist_new_dict();
  plist_dict_set_item(dict, "SetName", plist_new_string("Binary \xC3\xA9"));
  plist_dict_set_item(dict, "HasParents", plist_new_bool(1));
  plist_t fonts = plist_new_array();
  plist_array_append_item(fonts, plist_new_string("Helvetica"));
  plist_dict_set_item(dict, "Fonts", fonts);

  Ref<Object> back = CFPropertyListCreateFromXMLData(ToBinary(dict));
  ASSERT_NE(back, nullptr);
  Ref<Dictionary> expected = Dictionary::Create();
  expected->Set("SetName", MakeString("Binary \xC3\xA9"));
  expected->Set("HasParents", Boolean::True());
  expected->Set("Fonts", ArrayOf({MakeString("Helvetica")}));
  EXPECT_TRUE(Equal(back.get(), expected.get()));
}

std::string DeepXml(int depth) {
  std::string xml = "<plist version=\"1.0\">";
  for (int i = 0; i < depth; ++i)
    xml += "<array>";
  for (int i = 0; i < depth; ++i)
    xml += "</array>";
  return xml + "</plist>";
}

plist_t DeepPlist(int depth) {
  plist_t top = plist_new_array();
  plist_t tail = top;
  for (int i = 0; i < depth; ++i) {
    plist_t next = plist_new_array();
    plist_array_append_item(tail, next);
    tail = next;
  }
  return top;
}

TEST(XmlTest, RejectsWhatIsNoPropertyListOfTheseValues) {
  std::string binary_number;
  {
    plist_t array = plist_new_array();
    plist_array_append_item(array, plist_new_uint(7));
    binary_number = ToBinary(array);
  }
  std::string truncated_binary = ToBinary(DeepPlist(3));
  truncated_binary.resize(truncated_binary.size() - 5);

  struct Case {
    const char* name;
    std::string bytes;
  };
  const Case cases[] = {
      {"empty", ""},
      {"not XML", "hello, world"},
      {"unclosed", std::string(kHead) + "<array><string>x</string>"},
      {"integer", std::string(kHead) + "<array><integer>1</integer></array></plist>"},
      {"real", std::string(kHead) + "<real>1.5</real></plist>"},
      {"date", std::string(kHead) + "<date>2024-01-01T00:00:00Z</date></plist>"},
      {"data", std::string(kHead) + "<dict><key>d</key><data>AAEC</data></dict></plist>"},
      {"binary number", binary_number},
      {"truncated binary", truncated_binary},
      {"binary header only", "bplist00"},
      {"too deep XML", DeepXml(100000)},
      {"too deep binary", ToBinary(DeepPlist(1000))},
  };
  for (const Case& c : cases)
    EXPECT_EQ(CFPropertyListCreateFromXMLData(c.bytes), nullptr) << c.name;
}

}  // namespace
}  // namespace cf
