#include "platform/plist_xml_reader.h"

#include <cstring>
#include <vector>

#include "platform/key_table.h"
#include "platform/plist_limits.h"
#include "platform/utf8.h"
#include "platform/value_stack.h"
#include "platform/xml_scanner.h"

namespace {

// A tag as a message shows it: "<name>" or "</name>", a long name cut short.
// Built by appending: GCC 12 at -O3 warns falsely (-Wrestrict) on
// "literal" + std::string&&.
std::string TagText(const char* opening, std::string_view name) {
  std::string text(opening);
  text += XmlScanner::Excerpt(name);
  text += '>';
  return text;
}

enum class Element {
  kString,
  kKey,
  kTrue,
  kFalse,
  kArray,
  kDict,
  kPlist,
  kLackingType,  // <integer>, <real>, <date>, <data>
  kUnknown,
};

Element ElementNamed(std::string_view name) {
  switch (name.size()) {
    case 3:
      return name == "key" ? Element::kKey : Element::kUnknown;
    case 4:
      if (name == "dict")
        return Element::kDict;
      if (name == "true")
        return Element::kTrue;
      return name == "real" || name == "date" || name == "data" ? Element::kLackingType
                                                                : Element::kUnknown;
    case 5:
      if (name == "array")
        return Element::kArray;
      if (name == "false")
        return Element::kFalse;
      return name == "plist" ? Element::kPlist : Element::kUnknown;
    case 6:
      return name == "string" ? Element::kString : Element::kUnknown;
    case 7:
      return name == "integer" ? Element::kLackingType : Element::kUnknown;
  }
  return Element::kUnknown;
}

// Where the first byte no document may hold is - one that breaks UTF-8, or
// a NUL - or npos. Nearly every document is ASCII, which is told a word at
// a time.
size_t FindForbiddenByte(std::string_view xml) {
  const size_t invalid = cf::IsAscii(xml) ? std::string_view::npos : cf::FindInvalidUtf8(xml);
  const void* nul =
      std::memchr(xml.data(), '\0', invalid == std::string_view::npos ? xml.size() : invalid);
  return nul != nullptr ? static_cast<const char*>(nul) - xml.data() : invalid;
}

class Parser {
 public:
  explicit Parser(std::string_view xml) : scanner_(xml) {}

  cf::Ref<cf::Object> Parse(std::string* why);

 private:
  // An element whose end tag has not come yet: <array>, <dict> or <plist>.
  struct Open {
    Element element;
    size_t first;      // its first value's place on the value stack
    InternedKey* key;  // the key it goes under in its dictionary
    size_t start;      // where its start tag is
  };

  bool Step(XmlScanner::Token token);
  bool StartElement(Element element, bool empty);
  bool EndElement(Element element);
  // Checks that a value may come here and says under which key it goes.
  bool TakeSlot(InternedKey** key);
  bool ReadString(bool empty, std::string_view element, std::string_view* text, bool* decoded);
  bool Fail(std::string_view what) {
    scanner_.Fail(scanner_.token_start(), what);
    return false;
  }
  std::string_view NameOf(Element element) const;

  XmlScanner scanner_;
  KeyTable keys_;
  ValueStack values_;
  std::vector<Open> open_;
  int depth_ = 0;  // of the open arrays and dictionaries
  // In a dictionary: the key read whose value has not come yet.
  InternedKey* key_ = nullptr;
  bool began_ = false;  // a DOCTYPE or an element was seen: no DOCTYPE may follow
};

cf::Ref<cf::Object> Parser::Parse(std::string* why) {
  XmlScanner::Token token;
  while ((token = scanner_.Next()) != XmlScanner::Token::kEnd && Step(token)) {
  }
  if (!scanner_.failed() && !open_.empty()) {
    const Open& open = open_.back();
    scanner_.Fail(scanner_.token_start(),
                  "the document ends inside <" + std::string(NameOf(open.element)) + "> of line " +
                      std::to_string(scanner_.LineOf(open.start)) + " (truncated?)");
  }
  if (!scanner_.failed() && values_.size() == 0)
    Fail("the document holds no value");
  cf::Ref<cf::Object> root = scanner_.failed() ? nullptr : values_.Take(0);
  if (!root && !scanner_.failed())
    Fail("a string that is not UTF-8");
  if (!root && why != nullptr)
    *why = scanner_.error();
  return root;
}

bool Parser::Step(XmlScanner::Token token) {
  switch (token) {
    case XmlScanner::Token::kStartTag:
    case XmlScanner::Token::kEmptyElementTag:
      began_ = true;
      return StartElement(ElementNamed(scanner_.name()),
                          token == XmlScanner::Token::kEmptyElementTag);
    case XmlScanner::Token::kEndTag:
      return EndElement(ElementNamed(scanner_.name()));
    case XmlScanner::Token::kDoctype:
      if (began_)
        return Fail("a DOCTYPE after another or after the first element");
      began_ = true;
      return true;
    case XmlScanner::Token::kText:
      if (open_.empty())
        return Fail("text outside the elements");
      return Fail("text between the values of <" + std::string(NameOf(open_.back().element)) + ">");
    case XmlScanner::Token::kEnd:
    case XmlScanner::Token::kError:
      break;
  }
  return false;
}

bool Parser::TakeSlot(InternedKey** key) {
  *key = nullptr;
  if (open_.empty()) {
    if (values_.size() > 0)
      return Fail("a second value at the top of the document");
    return true;
  }
  const Open& open = open_.back();
  switch (open.element) {
    case Element::kDict:
      if (key_ == nullptr)
        return Fail("a value with no key in <dict>");
      *key = std::exchange(key_, nullptr);
      return true;
    case Element::kPlist:
      if (values_.size() > open.first)
        return Fail("a second value in <plist>");
      return true;
    default:
      return true;
  }
}

bool Parser::ReadString(bool empty, std::string_view element, std::string_view* text,
                        bool* decoded) {
  if (empty) {
    *text = "";  // A literal: it stays put, as a view of the document would.
    *decoded = false;
    return true;
  }
  return scanner_.ReadText(element, text, decoded);
}

bool Parser::StartElement(Element element, bool empty) {
  InternedKey* key;
  std::string_view text;
  bool decoded;
  switch (element) {
    case Element::kString:
      if (!TakeSlot(&key) || !ReadString(empty, "string", &text, &decoded))
        return false;
      // A decoded text lives in the scanner's buffer until the next one.
      if (decoded) {
        values_.Push(key, cf::String::Create(text));
      } else {
        values_.PushText(key, text);
      }
      return true;
    case Element::kKey:
      if (open_.empty() || open_.back().element != Element::kDict)
        return Fail("a <key> outside <dict>");
      if (key_ != nullptr)
        return Fail("the key \"" + XmlScanner::Excerpt(key_->key.view()) + "\" has no value");
      if (!ReadString(empty, "key", &text, &decoded))
        return false;
      key_ = keys_.Intern(text);
      return true;
    case Element::kTrue:
    case Element::kFalse:
      if (!TakeSlot(&key) || !ReadString(empty, NameOf(element), &text, &decoded))
        return false;
      if (text.find_first_not_of(" \t\r\n") != std::string_view::npos)
        return Fail("text in <" + std::string(NameOf(element)) + ">, which holds none");
      values_.Push(key, element == Element::kTrue ? cf::Boolean::True() : cf::Boolean::False());
      return true;
    case Element::kArray:
    case Element::kDict:
      if (!TakeSlot(&key))
        return false;
      if (empty) {
        values_.Push(key, element == Element::kArray ? cf::Ref<cf::Object>(cf::Array::Create())
                                                     : cf::Dictionary::Create());
        return true;
      }
      if (depth_ == cf::kMaxPropertyListDepth)
        return Fail("containers nested more than " + std::to_string(cf::kMaxPropertyListDepth) +
                    " deep");
      ++depth_;
      open_.push_back({element, values_.size(), key, scanner_.token_start()});
      return true;
    case Element::kPlist:
      if (!open_.empty())
        return Fail("<plist> inside a value");
      if (values_.size() > 0)
        return Fail("a second value at the top of the document");
      if (empty)
        return Fail("an empty <plist>");
      open_.push_back({element, values_.size(), nullptr, scanner_.token_start()});
      return true;
    case Element::kLackingType:
      return Fail(TagText("<", scanner_.name()) +
                  ", a type the values lack (they are strings, booleans, arrays and "
                  "dictionaries)");
    case Element::kUnknown:
      break;
  }
  return Fail(TagText("<", scanner_.name()) + ", which is no property-list element");
}

bool Parser::EndElement(Element element) {
  if (open_.empty())
    return Fail(TagText("</", scanner_.name()) + " closes nothing");
  const Open open = open_.back();
  if (element != open.element)
    return Fail(TagText("</", scanner_.name()) + " closes " + TagText("<", NameOf(open.element)) +
                " of line " + std::to_string(scanner_.LineOf(open.start)));
  open_.pop_back();
  switch (element) {
    case Element::kArray:
      --depth_;
      return values_.CloseArray(open.first, open.key) || Fail("a string that is not UTF-8");
    case Element::kDict:
      --depth_;
      if (key_ != nullptr)
        return Fail("the key \"" + XmlScanner::Excerpt(key_->key.view()) + "\" has no value");
      return values_.CloseDictionary(open.first, open.key) || Fail("a string that is not UTF-8");
    default:  // kPlist: its value stays, at the top.
      return values_.size() > open.first || Fail("an empty <plist>");
  }
}

std::string_view Parser::NameOf(Element element) const {
  switch (element) {
    case Element::kArray:
      return "array";
    case Element::kDict:
      return "dict";
    case Element::kPlist:
      return "plist";
    case Element::kTrue:
      return "true";
    case Element::kFalse:
      return "false";
    default:
      return scanner_.name();
  }
}

}  // namespace

cf::Ref<cf::Object> ReadXmlPropertyList(std::string_view xml, std::string* why) {
  if (size_t at = FindForbiddenByte(xml); at != std::string_view::npos) {
    if (why != nullptr) {
      XmlScanner scanner(xml);
      scanner.Fail(at, xml[at] == '\0' ? "a NUL byte" : "bytes that are not UTF-8");
      *why = scanner.error();
    }
    return nullptr;
  }
  return Parser(xml).Parse(why);
}
