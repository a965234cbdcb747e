#include "platform/values/key.h"

#include <cstring>
#include <functional>
#include <new>

namespace cf {

Key::Key(std::string_view text)
    : block_(static_cast<Block*>(::operator new(sizeof(Block) + text.size() + 1))) {
  block_->count = 1;
  block_->size = text.size();
  block_->hash = std::hash<std::string_view>()(text);
  char* out = reinterpret_cast<char*>(block_ + 1);
  std::memcpy(out, text.data(), text.size());
  out[text.size()] = '\0';
}

}  // namespace cf
