#include "bench/sax_tree_builder.h"

#include <cstdio>
#include <cstdlib>

void SaxTreeBuilder::StartElement(std::string_view name) {
  if (name == "string" || name == "key") {
    in_text_ = true;
    text_start_ = text_.size();
  } else if (name == "true" || name == "false") {
    values_.Push(TakeKey(), name == "true" ? cf::Boolean::True() : cf::Boolean::False());
  } else if (name == "array" || name == "dict") {
    open_.push_back({values_.size(), TakeKey()});
  }
}

void SaxTreeBuilder::EndElement(std::string_view name) {
  if (name == "string" || name == "key") {
    if (text_.size() > text_.capacity()) {
      std::fputs("SaxTreeBuilder: more text than the document\n", stderr);
      std::abort();
    }
    const std::string_view text = std::string_view(text_).substr(text_start_);
    in_text_ = false;
    if (name == "key") {
      key_ = keys_.Intern(text);
    } else {
      values_.PushText(TakeKey(), text);
    }
  } else if (name == "array") {
    values_.CloseArray(open_.back().first, open_.back().key);
    open_.pop_back();
  } else if (name == "dict") {
    values_.CloseDictionary(open_.back().first, open_.back().key);
    open_.pop_back();
  }
}
