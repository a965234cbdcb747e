// cf::URL: a file URL, an absolute file-system path. Not a property-list
// type, so a tree that holds one cannot be serialised.
#ifndef PLATFORM_VALUES_URL_H_
#define PLATFORM_VALUES_URL_H_

#include <string>
#include <string_view>
#include <utility>

#include "platform/values/object.h"

namespace cf {

class URL final : public Object {
 public:
  // Null unless `path` is absolute. A trailing slash is kept only for "/".
  static Ref<URL> CreateWithFileSystemPath(std::string_view path);
  // This URL with `component` (which may hold slashes) appended as one path component.
  Ref<URL> CopyAppendingPathComponent(std::string_view component) const;

  const std::string& path() const { return path_; }
  // "file://" followed by the percent-encoded path.
  std::string AbsoluteString() const;

 private:
  explicit URL(std::string path) : Object(TypeID::kURL), path_(std::move(path)) {}
  std::string path_;
};

inline const URL* Object::AsURL() const {
  return type_ == TypeID::kURL ? static_cast<const URL*>(this) : nullptr;
}

}  // namespace cf

#endif  // PLATFORM_VALUES_URL_H_
