#include "platform/values/url.h"

namespace cf {
namespace {

std::string WithoutTrailingSlashes(std::string path) {
  while (path.size() > 1 && path.back() == '/')
    path.pop_back();
  return path;
}

bool StaysUnescapedInFileURL(unsigned char c) {
  if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'))
    return true;
  return std::string_view("-._~!$&'()*+,;=:@/").find(static_cast<char>(c)) !=
         std::string_view::npos;
}

}  // namespace

Ref<URL> URL::CreateWithFileSystemPath(std::string_view path) {
  if (path.empty() || path.front() != '/')
    return nullptr;
  ++internal::live_objects;
  return Ref<URL>(new URL(WithoutTrailingSlashes(std::string(path))));
}

Ref<URL> URL::CopyAppendingPathComponent(std::string_view component) const {
  std::string path = path_;
  if (path.back() != '/')
    path += '/';
  path += component;
  ++internal::live_objects;
  return Ref<URL>(new URL(WithoutTrailingSlashes(std::move(path))));
}

std::string URL::AbsoluteString() const {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string result = "file://";
  for (unsigned char c : path_) {
    if (StaysUnescapedInFileURL(c)) {
      result += static_cast<char>(c);
    } else {
      result += '%';
      result += kHex[c >> 4];
      result += kHex[c & 0xF];
    }
  }
  return result;
}

}  // namespace cf
