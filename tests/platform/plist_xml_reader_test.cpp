// The XML property-list reader against libplist 2.2, the reader it replaced:
// every construct a writer may use gives libplist's tree, and whatever a
// hostile process may leave on the pasteboard is refused with a reason.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <string>
#include <utility>
#include <vector>

#include "platform/plist_limits.h"
#include "platform/xml.h"
#include "tests/platform/libplist_oracle.h"

namespace cf {
namespace {

constexpr char kDeclaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
constexpr char kDoctype[] =
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n";

// `body` as the platform's writer frames a value.
std::string Plist(std::string_view body) {
  return std::string(kDeclaration) + kDoctype + "<plist version=\"1.0\">\n" + std::string(body) +
         "\n</plist>\n";
}

std::string Nested(int depth, std::string_view open, std::string_view close) {
  std::string xml;
  for (int i = 0; i < depth; ++i)
    xml += open;
  for (int i = 0; i < depth; ++i)
    xml += close;
  return xml;
}

Ref<Dictionary> DictionaryOf(
    std::initializer_list<std::pair<std::string_view, Ref<Object>>> entries) {
  Ref<Dictionary> dictionary = Dictionary::Create();
  for (const auto& [key, value] : entries)
    dictionary->Set(key, value);
  return dictionary;
}

struct Document {
  const char* name;
  std::string xml;
};

// Every construct that may stand in a property list, alone or with others.
std::vector<Document> ValidDocuments() {
  const std::string font =
      "<dict>\n\t<key>kQBFontInfoFamilyName</key>\n\t<string>Elbe Sans</string>\n"
      "\t<key>kQBFontInfoFilePath</key>\n\t<string>/Fonts/A&amp;B &lt;Bold&gt;.ttf</string>\n"
      "</dict>";
  std::string many_keys = "<dict>";
  for (int i = 0; i < 40; ++i)
    many_keys += "<key>k" + std::to_string(i) + "</key><string>" + std::to_string(i) + "</string>";
  many_keys += "<key>k7</key><true/><key>k39</key><array/></dict>";
  return {
      {"the writer's frame", Plist(font)},
      {"no declaration, no DOCTYPE", "<plist version=\"1.0\">" + font + "</plist>"},
      {"no plist element", font},
      {"a string alone", "<string>alone</string>"},
      {"declaration with single quotes and standalone",
       "<?xml version='1.0' encoding='utf-8' standalone='yes' ?><plist><true/></plist>"},
      {"DOCTYPE with SYSTEM only",
       "<!DOCTYPE plist SYSTEM \"file://localhost/System/Library/DTDs/PropertyList.dtd\">"
       "<plist><false/></plist>"},
      {"DOCTYPE with an internal subset",
       "<?xml version=\"1.0\"?>\n<!DOCTYPE plist [\n  <!ELEMENT plist ANY>\n"
       "  <!ENTITY unused \"never expanded\">\n  <!-- a comment -->\n]>\n"
       "<plist><string>x</string></plist>"},
      {"DOCTYPE alone, no external id", "<!DOCTYPE plist><array/>"},
      {"comments everywhere",
       "<!-- before --><?xml-stylesheet href='a'?><plist><!-- in plist --><dict><!-- a -->"
       "<key>k<!-- in a key -->ey</key><!-- between --><string>va<!-- in a <string> & -->lue"
       "</string><!----></dict><!-- after --></plist><!-- at the end -->\n"},
      {"processing instructions between elements",
       "<?pi one?><plist><?pi two?><array><?pi three ?><true/></array></plist><?pi four?>"},
      {"CDATA sections",
       Plist("<array><string><![CDATA[<&>]]></string><string>a<![CDATA[&amp;]]>b&lt;"
             "<![CDATA[]]]]><![CDATA[>]]></string><string><![CDATA[]]></string></array>")},
      {"predefined entities",
       Plist("<string>&lt;&gt;&amp;&apos;&quot; &amp;amp; a&amp;b</string>")},
      {"character references",
       Plist(
           "<array><string>&#65;&#x42;&#X43;&#xe9;&#8364;&#x1F600;&#128512;</string>"
           "<string>&#x9;&#10;&#13;&#1;&#x1F;&#127;</string><string>&#x10FFFF;</string></array>")},
      {"references in keys",
       Plist("<dict><key>a&amp;b</key><true/><key>&#x1F600;</key><false/></dict>")},
      {"empty strings and keys",
       Plist("<dict><key></key><string/><key>k</key><string></string><key>l</key><string />"
             "</dict>")},
      {"booleans every way", Plist("<array><true/><false/><true></true><false></false><true />"
                                   "<false\n/><true> \n </true></array>")},
      {"empty containers every way",
       Plist("<array><array/><dict/><array></array><dict></dict><array> \n\t</array>"
             "<dict>\r\n</dict><array\t/></array>")},
      {"white space inside tags",
       "<plist\n\tversion = \"1.0\"\n><dict\n><key\t>k</key\n><string  >v</string\t\r\n>"
       "</dict  ></plist >"},
      {"'>' in a DOCTYPE literal and in an attribute value",
       "<!DOCTYPE plist SYSTEM \"a>b\"><plist a=\">\"><string id=\"a>b\">x</string></plist>"},
      {"attributes on plist",
       "<plist version=\"1.0\" xmlns:x='urn:x' x:y=\"&amp;\"><true/></plist>"},
      {"text kept byte for byte",
       Plist("<array><string>  leading and trailing  </string><string>cr\rlf\n"
             "crlf\r\n\ttab</string><string>\n</string><string> </string></array>")},
      {"control characters written raw",
       Plist("<string>\x01\x02\x08\x0B\x0C\x1B\x1F\x7F</string>")},
      {"raw '>' quotes and apostrophes", Plist("<string>a > b \"c\" 'd' ]] ></string>")},
      {"UTF-8 beyond ASCII",
       Plist("<dict><key>Caf\xC3\xA9</key><string>\xE2\x82\xAC \xF0\x9F\x98\x80 "
             "\xEF\xBF\xBD \xEF\xBF\xBF</string></dict>")},
      {"a repeated key keeps its place and takes the last value",
       Plist("<dict><key>a</key><string>1</string><key>b</key><true/>"
             "<key>a</key><string>2</string><key>c</key><false/><key>a</key><array/></dict>")},
      {"many keys", Plist(many_keys)},
      {"nested containers",
       Plist("<array><dict><key>a</key><array><dict><key>b</key><dict/></dict></array></dict>"
             "<array><array><string>deep</string></array></array></array>")},
      {"nested 512 deep", Plist(Nested(512, "<array>", "</array>"))},
      {"dictionaries nested 512 deep",
       Plist("<dict>" + Nested(511, "<key>k</key><dict>", "</dict>") + "</dict>")},
      {"CR LF line ends",
       "<?xml version=\"1.0\"?>\r\n<plist>\r\n<array>\r\n\t<true/>\r\n"
       "</array>\r\n</plist>\r\n"},
      {"white space before the declaration's absence", " \n\t<plist><true/></plist> \n\t "},
  };
}

TEST(PlistXmlReaderTest, ReadsWhatLibplistReads) {
  for (const Document& document : ValidDocuments()) {
    SCOPED_TRACE(document.name);
    std::string why;
    Ref<Object> ours = CFPropertyListCreateFromXMLData(document.xml, &why);
    Ref<Object> theirs = oracle::LibplistParse(document.xml);
    ASSERT_NE(theirs, nullptr) << "the oracle refuses it";
    ASSERT_NE(ours, nullptr) << why;
    EXPECT_TRUE(Equal(ours.get(), theirs.get()));
  }
}

TEST(PlistXmlReaderTest, KeepsTheOrderOfEntriesAndSharesKeys) {
  Ref<Object> tree = CFPropertyListCreateFromXMLData(
      Plist("<array><dict><key>b</key><true/><key>a</key><true/><key>b</key><false/></dict>"
            "<dict><key>a</key><true/></dict></array>"));
  ASSERT_NE(tree, nullptr);
  const Array& array = *tree->AsArray();
  const Dictionary& first = *array.at(0)->AsDictionary();
  const Dictionary& second = *array.at(1)->AsDictionary();
  ASSERT_EQ(first.size(), 2u);
  EXPECT_EQ(first.begin()[0].key.view(), "b");
  EXPECT_FALSE(first.begin()[0].value->AsBoolean()->value());
  EXPECT_EQ(first.begin()[1].key.view(), "a");
  // One key per distinct text, whichever dictionary it stands in.
  EXPECT_TRUE(first.begin()[1].key.SameAs(second.begin()[0].key));
}

// Well-formed XML that libplist 2.2 refuses or misreads: read as XML has it.
TEST(PlistXmlReaderTest, ReadsWellFormedXmlThatLibplistDoesNot) {
  struct Case {
    const char* name;
    std::string xml;
    Ref<Object> expected;
  };
  const Case cases[] = {
      {"a byte-order mark", "\xEF\xBB\xBF<plist><string>x</string></plist>", MakeString("x")},
      {"']' and '>' apart at the end of an internal subset",
       "<!DOCTYPE plist [ <!ENTITY e \"]>\"> ] >\n<string>x</string>", MakeString("x")},
      {"'>' in a single-quoted attribute value", "<plist a='>'><string>x</string></plist>",
       MakeString("x")},
      {"a processing instruction inside a string", "<string>a<?pi ?>b</string>", MakeString("ab")},
      {"an empty-element key", "<dict><key/><true/><key>k</key><string/></dict>",
       DictionaryOf({{"", Boolean::True()}, {"k", MakeString("")}})},
      {"character references with leading zeros", "<string>&#x0000041;&#00000066;</string>",
       MakeString("AB")},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::string why;
    Ref<Object> tree = CFPropertyListCreateFromXMLData(c.xml, &why);
    ASSERT_NE(tree, nullptr) << why;
    EXPECT_TRUE(Equal(tree.get(), c.expected.get()));
  }
}

TEST(PlistXmlReaderTest, RefusesWhatIsNoPropertyListAndSaysWhy) {
  const std::string deep_array = Nested(cf::kMaxPropertyListDepth + 1, "<array>", "</array>");
  const std::string deep_dict =
      "<dict>" + Nested(cf::kMaxPropertyListDepth, "<key>k</key><dict>", "</dict>") + "</dict>";
  struct Case {
    const char* name;
    std::string xml;
    std::string reason;  // a part of it
  };
  const Case cases[] = {
      // Bytes.
      {"empty", "", "no data"},
      {"invalid UTF-8 in a string", Plist("<string>a\xC3(</string>"), "not UTF-8 (line 4,"},
      {"invalid UTF-8 in a comment", "<!-- \xFF --><true/>", "not UTF-8"},
      {"invalid UTF-8 in the DOCTYPE", "<!DOCTYPE \xC0\xAF><true/>", "not UTF-8"},
      {"invalid UTF-8 in an attribute", "<plist a=\"\xED\xA0\x80\"><true/></plist>", "not UTF-8"},
      {"a sequence cut short at the end", "<true/>\xE2\x82", "not UTF-8"},
      {"a NUL byte", std::string("<string>a\0b</string>", 20), "a NUL byte (line 1, column 10)"},
      {"UTF-16", std::string("<\0t\0r\0u\0e\0/\0>\0", 14), "NUL"},
      // Entities.
      {"an entity the DOCTYPE declares", "<!DOCTYPE plist [<!ENTITY e \"x\">]><string>&e;</string>",
       "&e; which is not one of"},
      {"an external entity",
       "<!DOCTYPE plist [<!ENTITY e SYSTEM \"file:///etc/passwd\">]><string>&e;</string>",
       "never expanded"},
      {"entities that would expand a billion times",
       "<!DOCTYPE plist [<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;\">"
       "<!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;&b;\">]><string>&c;&c;&c;</string>",
       "&c; which is not one of"},
      {"a parameter entity's name", "<string>&%p;</string>", "&%p; which is not one of"},
      {"an unknown entity", Plist("<string>&nbsp;</string>"), "&nbsp;"},
      {"a prefix of a predefined entity", "<string>&ampx;</string>", "&ampx;"},
      {"an entity in a key", "<dict><key>&e;</key><true/></dict>", "&e;"},
      {"an entity in an attribute", "<plist a=\"&e;\"><true/></plist>", "&e;"},
      {"an '&' without ';'", "<string>a & b</string>", "starts no reference"},
      {"an '&' at the end", "<string>&amp", "starts no reference"},
      {"a reference to U+0000", "<string>&#0;</string>", "U+0000"},
      {"a reference to a surrogate", "<string>&#xD800;</string>", "surrogate"},
      {"a reference past U+10FFFF", "<string>&#x110000;</string>", "past U+10FFFF"},
      {"a huge reference", "<string>&#99999999999999999999999999;</string>", "past U+10FFFF"},
      {"a reference without digits", "<string>&#x;</string>", "malformed character reference"},
      {"a reference with a stray digit", "<string>&#12a;</string>",
       "malformed character reference"},
      // Limits.
      {"arrays nested too deep", deep_array, "nested more than 512 deep"},
      {"dictionaries nested too deep", deep_dict, "nested more than 512 deep"},
      {"nested a hundred thousand deep", Nested(100000, "<array>", "</array>"),
       "nested more than 512 deep"},
      // Structure.
      {"not XML", "hello, world", "text outside the elements (line 1, column 1)"},
      {"only white space", " \n ", "holds no value"},
      {"only a declaration", kDeclaration, "holds no value"},
      {"an empty plist", Plist(""), "an empty <plist>"},
      {"an empty-element plist", "<plist/>", "an empty <plist>"},
      {"truncated in an array", "<plist>\n<array><true/>", "ends inside <array> of line 2"},
      {"truncated in a string", "<plist><string>abc", "ends inside <string>"},
      {"truncated in a tag", "<plist><array", "ends inside a tag"},
      {"truncated in an end tag", "<array></array", "ends inside a tag"},
      {"truncated before </plist>", "<plist><true/>", "ends inside <plist>"},
      {"truncated in a comment", "<true/><!-- ...", "ends inside a comment"},
      {"truncated in a CDATA section", "<string><![CDATA[abc", "ends inside a CDATA section"},
      {"truncated in a processing instruction", "<?xml version", "processing instruction"},
      {"a processing instruction without a target", "<?><false/><?pi?><true/>",
       "a processing instruction without a target (line 1, column 1)"},
      {"one in a string", "<string>a<? x?></string>", "without a target (line 1, column 10)"},
      {"truncated in the DOCTYPE", "<!DOCTYPE plist [ <!ENTITY a \"", "inside its DOCTYPE"},
      {"truncated in an attribute value", "<plist version=\"1.0", "ends inside a tag"},
      {"'<' as the last byte", "<true/><", "ends inside a tag"},
      {"mismatched tags", "<array><dict></array></dict>", "</array> closes <dict> of line 1"},
      {"a string closed as a key", "<string>a</key>", "</key> closes <string>"},
      {"an end tag that closes nothing", "<true/></array>", "</array> closes nothing"},
      {"text before the value", "x<true/>", "text outside the elements"},
      {"text after the value", "<plist><true/></plist>x", "text outside the elements"},
      {"text in an array", "<array><true/>x</array>", "text between the values of <array>"},
      {"text in a dictionary", "<dict>x<key>a</key><true/></dict>", "between the values of <dict>"},
      {"text in plist", "<plist>x<true/></plist>", "between the values of <plist>"},
      {"a CDATA section in an array", "<array><![CDATA[x]]></array>", "text between the values"},
      {"a reference between values", "<array>&#32;</array>", "text between the values"},
      {"text in a boolean", "<true>yes</true>", "text in <true>"},
      {"a key with no value", "<dict><key>a</key></dict>", "the key \"a\" has no value"},
      {"two keys in a row", "<dict><key>a</key><key>b</key><true/></dict>",
       "the key \"a\" has no value"},
      {"a value with no key", "<dict><string>a</string></dict>", "a value with no key"},
      {"a container with no key", "<dict><key>a</key><true/><array/></dict>",
       "a value with no key"},
      {"a key outside a dictionary", "<array><key>a</key></array>", "a <key> outside <dict>"},
      {"a key at the top", "<key>a</key>", "a <key> outside <dict>"},
      {"two values at the top", "<true/><false/>", "a second value at the top"},
      {"two values in plist", "<plist><true/><false/></plist>", "a second value in <plist>"},
      {"two plists", "<plist><true/></plist><plist><true/></plist>", "a second value at the top"},
      {"plist inside a value", "<array><plist/></array>", "<plist> inside a value"},
      {"an element inside a string", "<string>a<b>c</b></string>", "an element inside <string>"},
      {"an unknown element", "<dict><key>a</key><foo/></dict>", "<foo>, which is no"},
      {"elements are case-sensitive", "<String>a</String>", "<String>, which is no"},
      {"a long name, cut short in the reason",
       "<" + std::string(39, 'x') + "\xC3\xA9" + std::string(1000, 'y') + "/>",
       "<" + std::string(39, 'x') + "...>, which is no"},
      {"an integer", Plist("<integer>1</integer>"), "<integer>, a type the values lack"},
      {"a real", "<array><real>1.5</real></array>", "<real>"},
      {"a date", "<date>2024-01-01T00:00:00Z</date>", "<date>"},
      {"data", "<dict><key>d</key><data>AAEC</data></dict>", "<data>"},
      {"a DOCTYPE after the root", "<true/><!DOCTYPE plist>", "a DOCTYPE after"},
      {"two DOCTYPEs", "<!DOCTYPE plist><!DOCTYPE plist><true/>", "a DOCTYPE after"},
      {"unknown markup", "<!ELEMENT plist ANY><true/>", "neither a comment"},
      {"a '<' starting no tag", "< true/>", "starts no tag"},
      {"an attribute without a value", "<plist version><true/></plist>", "without a value"},
      {"an attribute without quotes", "<plist version=1.0><true/></plist>", "without quotes"},
      {"attributes run together", "<plist a=\"1\"b=\"2\"><true/></plist>", "a malformed tag"},
      {"'<' in an attribute", "<plist a=\"<\"><true/></plist>", "a '<' in an attribute value"},
      {"a malformed end tag", "<array></ array>", "a malformed end tag"},
      {"an end tag with an attribute", "<array></array x=\"1\">", "a malformed end tag"},
      {"a slash inside a tag", "<array / ></array>", "a malformed tag"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::string why;
    EXPECT_EQ(CFPropertyListCreateFromXMLData(c.xml, &why), nullptr);
    EXPECT_NE(why.find(c.reason), std::string::npos) << why;
  }
}

TEST(PlistXmlReaderTest, RefusesEveryTruncation) {
  const std::string xml = Plist(
      "<dict>\n\t<key>Fonts</key>\n\t<array>\n\t\t<string>a&amp;b</string>\n\t\t"
      "<string><![CDATA[c]]></string>\n\t\t<true/>\n\t</array>\n\t<key>Name</key>\n"
      "\t<string>n<!-- c -->m</string>\n</dict>");
  ASSERT_NE(CFPropertyListCreateFromXMLData(xml), nullptr);
  const size_t complete = xml.rfind("</plist>") + 8;
  for (size_t size = 1; size < complete; ++size) {
    std::string why;
    EXPECT_EQ(CFPropertyListCreateFromXMLData(xml.substr(0, size), &why), nullptr) << size;
    EXPECT_FALSE(why.empty()) << size;
  }
}

TEST(PlistXmlReaderTest, RefusesADocumentLargerThanTheLimitUnread) {
  // Pages mapped but never touched: the size alone must refuse it.
  const size_t size = kMaxPropertyListBytes + 1;
  void* pages = mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(pages, MAP_FAILED);
  std::string why;
  EXPECT_EQ(CFPropertyListCreateFromXMLData({static_cast<const char*>(pages), size}, &why),
            nullptr);
  EXPECT_EQ(why, "larger than the 512 MiB a property list may take");
  munmap(pages, size);
}

}  // namespace
}  // namespace cf
