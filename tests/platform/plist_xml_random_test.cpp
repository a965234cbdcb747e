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
#include "tests/platform/random_plist.h"

namespace cf {
namespace {

// Random trees, and the writer's documents of them disguised.
class DisguisingPlist : public RandomPlist {
 public:
  using RandomPlist::RandomPlist;

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
  DisguisingPlist random(20240611);
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
