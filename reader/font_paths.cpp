#include "reader/font_paths.h"

#include "platform/utf8.h"

namespace {

OneHomePerRead* current_read = nullptr;

}  // namespace

OneHomePerRead::OneHomePerRead() : outer_(current_read) {
  current_read = this;
}

OneHomePerRead::~OneHomePerRead() {
  current_read = outer_;
}

bool AppendExpandedFontPath(std::string_view path, std::string* out) {
  TildeExpander own;
  TildeExpander& expander = current_read != nullptr ? current_read->expander_ : own;
  const size_t start = out->size();
  if (!expander.AppendExpanded(path, out))
    return false;
  if (cf::IsWellFormedUtf8(std::string_view(*out).substr(start)))
    return true;
  out->resize(start);
  return false;
}
