// Immutable bytes shared by reference, as the platform's data objects are:
// the XML of a property list, the data of a pasteboard flavor. A copy shares
// the bytes instead of copying them, so a document of many megabytes can be
// handed from the writer to the pasteboard and on to a reader for nothing.
#ifndef PLATFORM_DATA_H_
#define PLATFORM_DATA_H_

#include <cstddef>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>

namespace cf {

class Data {
 public:
  // No bytes.
  Data() = default;
  // A copy of `bytes`.
  static Data Copy(std::string_view bytes) {
    return Adopt(std::make_shared<const std::string>(bytes));
  }
  // `bytes` as they are, held for as long as a Data shares them.
  static Data Adopt(std::shared_ptr<const std::string> bytes) {
    const std::string_view view = *bytes;
    return Data(std::move(bytes), view);
  }
  // `view`, which lies in memory that `owner` keeps alive.
  Data(std::shared_ptr<const void> owner, std::string_view view)
      : owner_(std::move(owner)), view_(view) {}

  // The bytes from `offset` on, `size` of them, sharing this one's memory.
  Data Slice(size_t offset, size_t size) const { return Data(owner_, view_.substr(offset, size)); }

  const char* data() const { return view_.data(); }
  size_t size() const { return view_.size(); }
  bool empty() const { return view_.empty(); }
  std::string_view view() const { return view_; }
  operator std::string_view() const { return view_; }

  friend bool operator==(const Data& a, const Data& b) { return a.view_ == b.view_; }
  friend bool operator==(const Data& a, std::string_view b) { return a.view_ == b; }
  friend std::ostream& operator<<(std::ostream& out, const Data& data) { return out << data.view_; }

 private:
  std::shared_ptr<const void> owner_;
  std::string_view view_;
};

}  // namespace cf

#endif  // PLATFORM_DATA_H_
