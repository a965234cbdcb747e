#include "platform/xml_scanner.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

enum : uint8_t {
  kSpace = 1,     // XML's white space: space, tab, CR, LF
  kNameEnd = 2,   // ends a tag or attribute name
  kTextStop = 4,  // '<' and '&': character data needs a look here
};

constexpr std::array<uint8_t, 256> kClasses = [] {
  std::array<uint8_t, 256> classes{};
  for (unsigned char c : std::string_view(" \t\r\n"))
    classes[c] |= kSpace | kNameEnd;
  for (unsigned char c : std::string_view("/>=<\"'&"))
    classes[c] |= kNameEnd;
  classes['<'] |= kTextStop;
  classes['&'] |= kTextStop;
  return classes;
}();

bool Is(char c, uint8_t what) {
  return (kClasses[static_cast<unsigned char>(c)] & what) != 0;
}

// The value of hexadecimal or decimal digit `c`, or -1.
int DigitValue(char c, bool hex) {
  if (c >= '0' && c <= '9')
    return c - '0';
  if (hex && c >= 'a' && c <= 'f')
    return c - 'a' + 10;
  if (hex && c >= 'A' && c <= 'F')
    return c - 'A' + 10;
  return -1;
}

// Where the first '<' or '&' at or after `at` is, or the size: where
// character data needs a look. Strings are mostly short runs of plain
// text, told eight bytes at a time: a byte equal to '<' or '&' is one that
// XORs to zero, and (x - 0x01...) & ~x marks the lowest zero byte of x
// exactly.
size_t FindTextStop(std::string_view xml, size_t at) {
  constexpr uint64_t kOnes = 0x0101010101010101u, kHighs = 0x8080808080808080u;
  for (; xml.size() - at >= 8; at += 8) {
    uint64_t word;
    std::memcpy(&word, xml.data() + at, 8);
    const uint64_t lt = word ^ (kOnes * '<'), amp = word ^ (kOnes * '&');
    const uint64_t marks = (((lt - kOnes) & ~lt) | ((amp - kOnes) & ~amp)) & kHighs;
    if (marks != 0)
      return at + std::countr_zero(marks) / 8;
  }
  while (at < xml.size() && !Is(xml[at], kTextStop))
    ++at;
  return at;
}

void AppendUtf8(char32_t point, std::string* out) {
  if (point < 0x80) {
    out->push_back(static_cast<char>(point));
  } else if (point < 0x800) {
    out->push_back(static_cast<char>(0xC0 | point >> 6));
    out->push_back(static_cast<char>(0x80 | (point & 0x3F)));
  } else if (point < 0x10000) {
    out->push_back(static_cast<char>(0xE0 | point >> 12));
    out->push_back(static_cast<char>(0x80 | (point >> 6 & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (point & 0x3F)));
  } else {
    out->push_back(static_cast<char>(0xF0 | point >> 18));
    out->push_back(static_cast<char>(0x80 | (point >> 12 & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (point >> 6 & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (point & 0x3F)));
  }
}

}  // namespace

void XmlScanner::Fail(size_t at, std::string_view what) {
  if (failed())
    return;
  at = std::min(at, xml_.size());
  const size_t line_start = at == 0 ? std::string_view::npos : xml_.rfind('\n', at - 1);
  const size_t column = line_start == std::string_view::npos ? at + 1 : at - line_start;
  char where[64];
  std::snprintf(where, sizeof where, " (line %zu, column %zu)", LineOf(at), column);
  error_ = std::string(what) + where;
}

std::string XmlScanner::Excerpt(std::string_view text) {
  constexpr size_t kLongest = 40;
  if (text.size() <= kLongest)
    return std::string(text);
  size_t end = kLongest;
  while (end > 0 && (text[end] & 0xC0) == 0x80)
    --end;
  return std::string(text.substr(0, end)) + "...";
}

size_t XmlScanner::LineOf(size_t at) const {
  return 1 + std::count(xml_.begin(), xml_.begin() + std::min(at, xml_.size()), '\n');
}

XmlScanner::Token XmlScanner::Next() {
  const size_t size = xml_.size();
  while (!failed()) {
    while (pos_ < size && Is(xml_[pos_], kSpace))
      ++pos_;
    token_start_ = pos_;
    if (pos_ == size)
      return Token::kEnd;
    if (xml_[pos_] != '<' || StartsWith(pos_, "<![CDATA["))
      return Token::kText;
    if (pos_ + 1 == size)
      break;
    switch (xml_[pos_ + 1]) {
      case '/':
        return ReadEndTag();
      case '?':
        SkipProcessingInstruction();
        continue;
      case '!':
        if (StartsWith(pos_, "<!--")) {
          SkipPast("<!--", "-->", "a comment");
          continue;
        }
        if (StartsWith(pos_, "<!DOCTYPE"))
          return SkipDoctype() ? Token::kDoctype : Token::kError;
        Fail(pos_, "markup that is neither a comment, a CDATA section nor a DOCTYPE");
        return Token::kError;
      default:
        return ReadStartTag();
    }
  }
  Fail(pos_, "the document ends inside a tag (truncated?)");
  return Token::kError;
}

bool XmlScanner::SkipPast(std::string_view opener, std::string_view terminator,
                          std::string_view what) {
  const size_t end = xml_.find(terminator, pos_ + opener.size());
  if (end == std::string_view::npos) {
    Fail(pos_, std::string("the document ends inside ") + std::string(what) + " (truncated?)");
    return false;
  }
  pos_ = end + terminator.size();
  return true;
}

// A processing instruction starts with its target's name, so "<?>" ends
// none: reading it as one that ends at the next "?>" would skip whatever
// lies between.
bool XmlScanner::SkipProcessingInstruction() {
  if (pos_ + 2 < xml_.size() && (Is(xml_[pos_ + 2], kNameEnd) || xml_[pos_ + 2] == '?')) {
    Fail(pos_, "a processing instruction without a target");
    return false;
  }
  return SkipPast("<?", "?>", "a processing instruction");
}

XmlScanner::Token XmlScanner::ReadStartTag() {
  size_t at = pos_ + 1;
  while (at < xml_.size() && !Is(xml_[at], kNameEnd))
    ++at;
  name_ = xml_.substr(pos_ + 1, at - pos_ - 1);
  if (name_.empty()) {
    Fail(pos_, "a '<' that starts no tag (write &lt; in text)");
    return Token::kError;
  }
  bool empty = false;
  if (!SkipAttributes(&at, &empty))
    return Token::kError;
  pos_ = at;
  return empty ? Token::kEmptyElementTag : Token::kStartTag;
}

// Attributes are name="value" or name='value', each after white space; the
// values are checked as text is (no '<', only known references) and dropped.
bool XmlScanner::SkipAttributes(size_t* at, bool* empty) {
  const size_t size = xml_.size();
  size_t i = *at;
  for (;;) {
    const size_t space_start = i;
    while (i < size && Is(xml_[i], kSpace))
      ++i;
    if (i == size)
      break;
    if (xml_[i] == '>') {
      *at = i + 1;
      return true;
    }
    if (xml_[i] == '/') {
      if (i + 1 == size)
        break;
      if (xml_[i + 1] != '>') {
        Fail(i, std::string("a malformed tag <") + Excerpt(name_) + ">");
        return false;
      }
      *empty = true;
      *at = i + 2;
      return true;
    }
    const size_t name_start = i;
    while (i < size && !Is(xml_[i], kNameEnd))
      ++i;
    if (i == name_start || name_start == space_start) {
      Fail(i, std::string("a malformed tag <") + Excerpt(name_) + ">");
      return false;
    }
    while (i < size && Is(xml_[i], kSpace))
      ++i;
    if (i < size && xml_[i] != '=') {
      Fail(i, std::string("an attribute without a value in <") + Excerpt(name_) + ">");
      return false;
    }
    if (++i < size && Is(xml_[i], kSpace)) {
      while (i < size && Is(xml_[i], kSpace))
        ++i;
    }
    if (i >= size)
      break;
    const char quote = xml_[i];
    if (quote != '"' && quote != '\'') {
      Fail(i, std::string("an attribute value without quotes in <") + Excerpt(name_) + ">");
      return false;
    }
    const size_t value_end = xml_.find(quote, i + 1);
    if (value_end == std::string_view::npos)
      break;
    for (pos_ = i + 1; pos_ < value_end;) {
      if (xml_[pos_] == '<') {
        Fail(pos_, "a '<' in an attribute value");
        return false;
      }
      if (xml_[pos_] == '&') {
        scratch_.clear();
        if (!DecodeReference(&scratch_))
          return false;
      } else {
        ++pos_;
      }
    }
    i = value_end + 1;
  }
  Fail(token_start_, "the document ends inside a tag (truncated?)");
  return false;
}

XmlScanner::Token XmlScanner::ReadEndTag() {
  const size_t size = xml_.size();
  size_t at = pos_ + 2;
  while (at < size && !Is(xml_[at], kNameEnd))
    ++at;
  name_ = xml_.substr(pos_ + 2, at - pos_ - 2);
  while (at < size && Is(xml_[at], kSpace))
    ++at;
  if (at == size) {
    Fail(pos_, "the document ends inside a tag (truncated?)");
    return Token::kError;
  }
  if (name_.empty() || xml_[at] != '>') {
    Fail(pos_, "a malformed end tag");
    return Token::kError;
  }
  pos_ = at + 1;
  return Token::kEndTag;
}

// <!DOCTYPE name ExternalID? [internal subset]? >. Quoted literals and, in
// the internal subset, comments and processing instructions are skipped as
// wholes, so no '>' or ']' inside them ends the DOCTYPE early.
bool XmlScanner::SkipDoctype() {
  const size_t size = xml_.size();
  const size_t start = pos_;
  auto skip_literal = [&] {
    const size_t close = xml_.find(xml_[pos_], pos_ + 1);
    pos_ = close == std::string_view::npos ? size : close + 1;
  };
  bool in_subset = false;
  for (pos_ += 9; pos_ < size && !failed();) {
    const char c = xml_[pos_];
    if (c == '"' || c == '\'') {
      skip_literal();
    } else if (in_subset && StartsWith(pos_, "<!--")) {
      SkipPast("<!--", "-->", "a comment");
    } else if (in_subset && StartsWith(pos_, "<?")) {
      SkipProcessingInstruction();
    } else if (!in_subset && c == '[') {
      in_subset = true;
      ++pos_;
    } else if (in_subset && c == ']') {
      in_subset = false;
      ++pos_;
      while (pos_ < size && Is(xml_[pos_], kSpace))
        ++pos_;
      if (pos_ < size && xml_[pos_] != '>') {
        Fail(pos_, "a DOCTYPE whose internal subset is not followed by '>'");
        return false;
      }
    } else if (!in_subset && c == '>') {
      ++pos_;
      return true;
    } else {
      ++pos_;
    }
  }
  Fail(start, "the document ends inside its DOCTYPE (truncated?)");
  return false;
}

bool XmlScanner::DecodeReference(std::string* out) {
  const size_t size = xml_.size();
  const size_t start = pos_;
  size_t at = pos_ + 1;
  if (at < size && xml_[at] == '#') {
    const bool hex = ++at < size && (xml_[at] == 'x' || xml_[at] == 'X');
    if (hex)
      ++at;
    const size_t digits_start = at;
    // Past U+10FFFF the value stops growing, so any count of digits is safe.
    char32_t point = 0;
    for (int digit; at < size && (digit = DigitValue(xml_[at], hex)) >= 0; ++at)
      point = std::min<char32_t>(point * (hex ? 16 : 10) + digit, 0x110000);
    if (at == digits_start || at == size || xml_[at] != ';') {
      Fail(start, "a malformed character reference");
      return false;
    }
    if (point == 0 || point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF)) {
      Fail(start, "a character reference to U+0000, a surrogate or past U+10FFFF");
      return false;
    }
    AppendUtf8(point, out);
    pos_ = at + 1;
    return true;
  }
  while (at < size && !Is(xml_[at], kNameEnd) && xml_[at] != ';')
    ++at;
  if (at == size || xml_[at] != ';' || at == start + 1) {
    Fail(start, "a '&' that starts no reference (write &amp; in text)");
    return false;
  }
  static constexpr std::pair<std::string_view, char> kPredefined[] = {
      {"lt", '<'}, {"gt", '>'}, {"amp", '&'}, {"apos", '\''}, {"quot", '"'}};
  const std::string_view entity = xml_.substr(start + 1, at - start - 1);
  for (const auto& [name, character] : kPredefined) {
    if (entity == name) {
      out->push_back(character);
      pos_ = at + 1;
      return true;
    }
  }
  Fail(start, "a reference to the entity &" + Excerpt(entity) +
                  "; which is not one of XML's five (entities a DOCTYPE declares are never "
                  "expanded)");
  return false;
}

bool XmlScanner::EndTagOf(std::string_view element, size_t at, size_t* after) const {
  const size_t size = xml_.size();
  if (!StartsWith(at, "</") || !StartsWith(at + 2, element))
    return false;
  at += 2 + element.size();
  while (at < size && Is(xml_[at], kSpace))
    ++at;
  if (at == size || xml_[at] != '>')
    return false;
  *after = at + 1;
  return true;
}

bool XmlScanner::ReadText(std::string_view element, std::string_view* text, bool* decoded) {
  const size_t size = xml_.size();
  const size_t start = pos_;
  const size_t at = FindTextStop(xml_, start);
  size_t after;
  if (at < size && xml_[at] == '<' && EndTagOf(element, at, &after)) {
    *text = xml_.substr(start, at - start);
    *decoded = false;
    pos_ = after;
    return true;
  }
  if (!ReadTextSlowly(element, start))
    return false;
  *text = scratch_;
  *decoded = true;
  return true;
}

bool XmlScanner::ReadTextSlowly(std::string_view element, size_t start) {
  const size_t size = xml_.size();
  scratch_.clear();
  pos_ = start;
  for (;;) {
    const size_t run = pos_;
    pos_ = FindTextStop(xml_, pos_);
    scratch_.append(xml_.substr(run, pos_ - run));
    if (pos_ == size) {
      Fail(token_start_, "the document ends inside <" + std::string(element) + "> (truncated?)");
      return false;
    }
    if (xml_[pos_] == '&') {
      if (!DecodeReference(&scratch_))
        return false;
    } else if (StartsWith(pos_, "<![CDATA[")) {
      const size_t end = xml_.find("]]>", pos_ + 9);
      if (end == std::string_view::npos) {
        Fail(pos_, "the document ends inside a CDATA section (truncated?)");
        return false;
      }
      scratch_.append(xml_.substr(pos_ + 9, end - pos_ - 9));
      pos_ = end + 3;
    } else if (StartsWith(pos_, "<!--")) {
      if (!SkipPast("<!--", "-->", "a comment"))
        return false;
    } else if (StartsWith(pos_, "<?")) {
      if (!SkipProcessingInstruction())
        return false;
    } else if (StartsWith(pos_, "</")) {
      const size_t tag = pos_;
      if (ReadEndTag() != Token::kEndTag)
        return false;
      if (name_ != element) {
        Fail(tag, "</" + Excerpt(name_) + "> closes <" + std::string(element) + ">");
        return false;
      }
      return true;
    } else {
      Fail(pos_, "an element inside <" + std::string(element) + ">, which holds only text");
      return false;
    }
  }
}
