// Random trees through the writer and back, read by the reader and by
// libplist 2.2: both must give the tree that was written, from the writer's
// bytes and from the same document disguised with every construct a writer
// may use instead (comments, processing instructions, CDATA sections,
// character references, white space inside tags, no <plist> wrapper).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "platform/plist_limits.h"
#include "platform/xml.h"
#include "tests/platform/libplist_oracle.h"

namespace cf {
namespace {

class RandomPlist {
 public:
  explicit RandomPlist(uint32_t seed) : random_(seed) {}

  // A tree of at most about `budget` values.
  Ref<Object> Tree(int budget) { return Value(budget, 0); }

  // A chain of `depth` containers, arrays and dictionaries mixed, with a
  // few values beside each.
  Ref<Object> Chain(int depth) {
    Ref<Object> inner = Text(8);
    for (int i = 0; i < depth; ++i) {
      if (Chance(2)) {
        Ref<Array> array = Array::Create();
        array->Append(std::move(inner));
        if (Chance(2))
          array->Append(Text(4));
        inner = std::move(array);
      } else {
        Ref<Dictionary> dictionary = Dictionary::Create();
        dictionary->Set(Key(), std::move(inner));
        inner = std::move(dictionary);
      }
    }
    return inner;
  }

  // The writer's document with what carries nothing changed at random:
  // the text of strings and keys re-encoded, and markup put between
  // elements and inside tags.
  std::string Disguise(std::string_view xml) {
    std::string out;
    const bool unwrapped = Chance(4);
    if (unwrapped) {
      xml.remove_prefix(xml.find("<plist"));
      xml.remove_prefix(xml.find('>') + 1);
      xml.remove_suffix(xml.size() - xml.rfind("</plist>"));
    }
    for (size_t i = 0; i < xml.size();) {
      if (xml[i] != '<') {
        const size_t end = std::min(xml.find('<', i), xml.size());
        out += Filler();
        i = end;
        continue;
      }
      const size_t close = xml.find('>', i);
      std::string_view tag = xml.substr(i, close - i);
      i = close + 1;
      if (tag == "<string" || tag == "<key") {
        const size_t end = xml.find('<', i);
        out += std::string(tag) + Space() + ">" + Reencode(Unescape(xml.substr(i, end - i)));
        i = end;
      } else if (tag.starts_with("</")) {
        out += std::string(tag) + Space() + ">";
      } else if (tag.ends_with("/")) {
        tag.remove_suffix(1);
        out += std::string(tag) + Space() + "/>";
      } else {
        out += std::string(tag) + (tag.starts_with("<!") || tag.starts_with("<?") ? "" : Space()) +
               ">";
      }
    }
    return out;
  }

 private:
  bool Chance(int one_in) { return std::uniform_int_distribution<int>(1, one_in)(random_) == 1; }
  int Below(int limit) { return std::uniform_int_distribution<int>(0, limit - 1)(random_); }

  Ref<Object> Value(int budget, int depth) {
    const int kind = budget <= 1 || depth >= 12 ? Below(3) : Below(5);
    if (kind < 2)
      return Text(16);
    if (kind == 2)
      return Chance(2) ? Boolean::True() : Boolean::False();
    const int count = Chance(8) ? 17 + Below(60) : Below(6);
    if (kind == 3) {
      Ref<Array> array = Array::Create();
      for (int i = 0; i < count; ++i)
        array->Append(Value(budget / (count + 1), depth + 1));
      return array;
    }
    Ref<Dictionary> dictionary = Dictionary::Create();
    for (int i = 0; i < count; ++i)
      dictionary->Set(Key(), Value(budget / (count + 1), depth + 1));
    return dictionary;
  }

  // Mostly the few names a publication repeats, sometimes anything.
  std::string Key() {
    static const char* const kNames[] = {"SetName",
                                         "Fonts",
                                         "Children",
                                         "HasParents",
                                         "kQBFontInfoFamilyName",
                                         "kQBFontInfoFilePath"};
    return Chance(2) ? kNames[Below(6)] : RandomText(12);
  }

  Ref<Object> Text(int longest) { return MakeString(RandomText(longest)); }

  // Text of any code point but U+0000 and the surrogates, weighted towards
  // what XML treats specially.
  std::string RandomText(int longest) {
    std::string text;
    for (int i = Below(longest + 1); i > 0; --i) {
      char32_t point;
      switch (Below(8)) {
        case 0:
          point = " \t\r\n<>&\"']"[Below(10)];
          break;
        case 1:
          point = 1 + Below(0x1F);  // control characters, written raw
          break;
        case 2:
          point = 0x80 + Below(0xD800 - 0x80);
          break;
        case 3:
          point = 0xE000 + Below(0x10000 - 0xE000);
          break;
        case 4:
          point = 0x10000 + Below(0x110000 - 0x10000);  // astral
          break;
        default:
          point = 0x20 + Below(0x5F);
          break;
      }
      AppendUtf8(point, &text);
    }
    return text;
  }

  static void AppendUtf8(char32_t point, std::string* out) {
    if (point < 0x80) {
      *out += static_cast<char>(point);
    } else if (point < 0x800) {
      *out += static_cast<char>(0xC0 | point >> 6);
      *out += static_cast<char>(0x80 | (point & 0x3F));
    } else if (point < 0x10000) {
      *out += static_cast<char>(0xE0 | point >> 12);
      *out += static_cast<char>(0x80 | (point >> 6 & 0x3F));
      *out += static_cast<char>(0x80 | (point & 0x3F));
    } else {
      *out += static_cast<char>(0xF0 | point >> 18);
      *out += static_cast<char>(0x80 | (point >> 12 & 0x3F));
      *out += static_cast<char>(0x80 | (point >> 6 & 0x3F));
      *out += static_cast<char>(0x80 | (point & 0x3F));
    }
  }

  // The writer escapes '<', '>' and '&' only.
  static std::string Unescape(std::string_view text) {
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
      if (text[i] != '&') {
        out += text[i];
        continue;
      }
      const size_t end = text.find(';', i);
      const std::string_view entity = text.substr(i, end + 1 - i);
      out += entity == "&lt;" ? '<' : entity == "&gt;" ? '>' : '&';
      i = end;
    }
    return out;
  }

  // `text` as a mix of plain text, references and CDATA sections, with
  // comments between them.
  std::string Reencode(std::string_view text) {
    std::string out;
    for (size_t i = 0; i < text.size();) {
      size_t size = 1;
      while (i + size < text.size() && (text[i + size] & 0xC0) == 0x80)
        ++size;
      const std::string_view character = text.substr(i, size);
      i += size;
      if (Chance(8))
        out += "<!--" + std::string(Chance(2) ? "" : " <a> & ]]> ") + "-->";
      switch (Below(6)) {
        case 0:
          out += Reference(character);
          break;
        case 1:
          out += character == "]" || character == ">"
                     ? Reference(character)
                     : "<![CDATA[" + std::string(character) + "]]>";
          break;
        default:
          out += character == "<" ? "&lt;" : character == "&" ? "&amp;" : std::string(character);
          break;
      }
    }
    return out;
  }

  std::string Reference(std::string_view character) {
    char32_t point = static_cast<unsigned char>(character[0]);
    if (character.size() > 1) {
      static constexpr unsigned char kLeadMask[] = {0, 0, 0x1F, 0x0F, 0x07};
      point &= kLeadMask[character.size()];
      for (size_t k = 1; k < character.size(); ++k)
        point = point << 6 | (character[k] & 0x3F);
    }
    if (point == '<' && Chance(2))
      return "&lt;";
    char reference[16];
    const int style = Below(3);
    std::snprintf(reference, sizeof reference,
                  style == 0   ? "&#%u;"
                  : style == 1 ? "&#x%X;"
                               : "&#X%x;",
                  static_cast<unsigned>(point));
    return reference;
  }

  std::string Space() {
    static const char* const kSpaces[] = {"", "", "", " ", "\t", "\n", " \r\n "};
    return kSpaces[Below(7)];
  }

  std::string Filler() {
    std::string filler = Space();
    while (Chance(4)) {
      filler += Chance(2) ? "<!-- -- <x> & -->" : "<?pi data?>";
      filler += Space();
    }
    return filler;
  }

  std::mt19937 random_;
};

void ExpectBothReadBack(const Object& tree, std::string_view xml) {
  std::string why;
  Ref<Object> ours = CFPropertyListCreateFromXMLData(xml, &why);
  ASSERT_NE(ours, nullptr) << why << "\n" << xml;
  EXPECT_TRUE(Equal(ours.get(), &tree)) << xml;
  Ref<Object> theirs = oracle::LibplistParse(xml);
  ASSERT_NE(theirs, nullptr) << xml;
  EXPECT_TRUE(Equal(theirs.get(), &tree)) << xml;
}

TEST(PlistXmlRandomTest, TreesComeBackAsLibplistReadsThem) {
  RandomPlist random(20240611);
  for (int round = 0; round < 400; ++round) {
    SCOPED_TRACE(round);
    const Ref<Object> tree =
        round % 20 == 19 ? random.Chain(kMaxPropertyListDepth) : random.Tree(round % 200 + 1);
    const std::optional<Data> xml = CFPropertyListCreateXMLData(tree.get());
    ASSERT_TRUE(xml.has_value());
    ExpectBothReadBack(*tree, *xml);
    // And the tree read is written as the same bytes.
    EXPECT_EQ(CFPropertyListCreateXMLData(CFPropertyListCreateFromXMLData(*xml).get()), xml);
    for (int disguise = 0; disguise < 3; ++disguise)
      ExpectBothReadBack(*tree, random.Disguise(*xml));
    if (HasFatalFailure())
      return;
  }
}

}  // namespace
}  // namespace cf
