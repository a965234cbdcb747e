// The lexical side of XML, as much of it as property lists use, read in one
// pass over bytes in memory.
//
// Between elements the scanner skips white space (space, tab, CR, LF),
// comments "<!--...-->" and processing instructions "<?target ...?>", the
// XML declaration among them. A DOCTYPE is skipped whole, internal subset
// included, and never acted upon: the entities it declares are not expanded
// and nothing external is ever read. What is left are tags and text.
//
// The content of a text element is its character data with the references
// "&lt;" "&gt;" "&amp;" "&apos;" "&quot;" "&#DDD;" "&#xHHH;" replaced, CDATA
// sections taken verbatim, comments and processing instructions dropped.
// Nothing else is changed: white space is kept, CR LF stays CR LF. A
// reference to any other entity, or to U+0000 or a surrogate, is an error.
//
// The scanner never reads outside the bytes it was given and looks at each
// byte a bounded number of times, so any input ends in linear time. The
// first error sticks; every call after it does nothing.
#ifndef PLATFORM_XML_SCANNER_H_
#define PLATFORM_XML_SCANNER_H_

#include <cstddef>
#include <string>
#include <string_view>

class XmlScanner {
 public:
  enum class Token {
    kStartTag,         // <name ...>
    kEmptyElementTag,  // <name .../>
    kEndTag,           // </name>
    kDoctype,          // <!DOCTYPE ...>, skipped
    kText,             // anything else that is not white space; not consumed
    kEnd,              // the end of the input
    kError,
  };

  // `xml` must outlive the scanner. A byte-order mark at its start, which
  // some editors write, is passed over.
  explicit XmlScanner(std::string_view xml)
      : xml_(xml), pos_(xml.starts_with("\xEF\xBB\xBF") ? 3 : 0) {}
  XmlScanner(const XmlScanner&) = delete;
  XmlScanner& operator=(const XmlScanner&) = delete;

  // Skips what carries nothing and reads the next token. Attributes of a
  // start tag are checked and dropped.
  Token Next();
  // The element name of the tag Next() just read.
  std::string_view name() const { return name_; }
  // Where the token Next() just read starts.
  size_t token_start() const { return token_start_; }

  // Reads the content of the element `element`, whose start tag Next() just
  // read, through its end tag. The text is a view of the input when the
  // content needed no decoding, else of a buffer of the scanner's that the
  // next call reuses; `*decoded` says which. False on an error, a start tag
  // inside the content among them.
  bool ReadText(std::string_view element, std::string_view* text, bool* decoded);

  // Records `what` as the error, at byte `at`, unless one came first.
  void Fail(size_t at, std::string_view what);
  bool failed() const { return !error_.empty(); }
  // What went wrong and where: "<what> (line L, column C)".
  const std::string& error() const { return error_; }
  // The line, counted from 1, that byte `at` is on.
  size_t LineOf(size_t at) const;
  // `text`, which must be UTF-8, cut short for a message: a name or key in
  // a hostile document may be as long as the document.
  static std::string Excerpt(std::string_view text);

 private:
  Token ReadStartTag();
  Token ReadEndTag();
  bool SkipAttributes(size_t* at, bool* empty);
  bool SkipDoctype();
  bool SkipProcessingInstruction();
  // Moves past the markup at `pos_` that starts with `opener` and ends with
  // `terminator`.
  bool SkipPast(std::string_view opener, std::string_view terminator, std::string_view what);
  // Appends the character that the reference at `pos_` stands for to
  // `*out` and moves past it.
  bool DecodeReference(std::string* out);
  bool ReadTextSlowly(std::string_view element, size_t start);
  bool EndTagOf(std::string_view element, size_t at, size_t* after) const;
  // Whether `prefix` stands at `at`. Byte by byte: prefixes are a few bytes
  // of markup, which a call to memcmp would cost more than.
  bool StartsWith(size_t at, std::string_view prefix) const {
    if (at > xml_.size() || xml_.size() - at < prefix.size())
      return false;
    for (size_t i = 0; i < prefix.size(); ++i) {
      if (xml_[at + i] != prefix[i])
        return false;
    }
    return true;
  }

  const std::string_view xml_;
  size_t pos_;
  size_t token_start_ = 0;
  std::string_view name_;
  std::string scratch_;
  std::string error_;
};

#endif  // PLATFORM_XML_SCANNER_H_
