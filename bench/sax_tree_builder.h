// A property-list tree from the events of an XML library's parser - start
// tag, character data, end tag - built as the platform's reader builds it
// (platform/value_stack.h, platform/key_table.h), so that the comparison of
// parsers in parse_bench.cpp measures the parsing. Meant for the valid
// documents a benchmark parses: it checks nothing.
#ifndef BENCH_SAX_TREE_BUILDER_H_
#define BENCH_SAX_TREE_BUILDER_H_

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/key_table.h"
#include "platform/value_stack.h"
#include "platform/values.h"

class SaxTreeBuilder {
 public:
  // `document_size` bounds the text of all strings and keys together, which
  // is copied once into a buffer that never moves.
  explicit SaxTreeBuilder(size_t document_size) { text_.reserve(document_size); }

  void StartElement(std::string_view name);
  // Character data as the library hands it over, in as many pieces as it likes.
  void Characters(std::string_view text) {
    if (in_text_)
      text_.append(text);
  }
  void EndElement(std::string_view name);
  cf::Ref<cf::Object> Finish() { return values_.size() == 1 ? values_.Take(0) : nullptr; }

 private:
  InternedKey* TakeKey() { return std::exchange(key_, nullptr); }

  KeyTable keys_;
  ValueStack values_;
  struct Open {
    size_t first;
    InternedKey* key;
  };
  std::vector<Open> open_;
  InternedKey* key_ = nullptr;
  std::string text_;
  size_t text_start_ = 0;
  bool in_text_ = false;
};

#endif  // BENCH_SAX_TREE_BUILDER_H_
