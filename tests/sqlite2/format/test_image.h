// Database images built byte by byte in memory, in either byte order, so
// that decoder tests can produce exactly the damage they are about.
#ifndef TESTS_SQLITE2_FORMAT_TEST_IMAGE_H_
#define TESTS_SQLITE2_FORMAT_TEST_IMAGE_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "sqlite2/format/page.h"
#include "sqlite2/format/page_source.h"

namespace sqlite2::format::testing {

struct TestCell {
  PageNumber left_child = 0;
  std::string key;
  std::string data;
};

class TestImage {
 public:
  // An image of `page_count` zero pages with a valid page 1.
  TestImage(ByteOrder order, uint32_t page_count);

  ByteOrder order() const { return order_; }
  uint8_t* page(PageNumber number) {
    return reinterpret_cast<uint8_t*>(&bytes_[(number - 1) * kPageSize]);
  }
  std::string& bytes() { return bytes_; }

  void Store16(PageNumber number, size_t offset, uint16_t value);
  void Store32(PageNumber number, size_t offset, uint32_t value);

  // Lays out a B-tree page holding `cells` in list order, stored physically
  // in reverse so that readers must follow the list, with one free block
  // covering the rest. Payloads over the local limit get overflow chains on
  // pages appended to the image. Returns the cell offsets in list order.
  std::vector<uint16_t> WriteBtreePage(PageNumber number, PageNumber right_child,
                                       const std::vector<TestCell>& cells);
  // Appends a chain holding `bytes` and returns its first page.
  PageNumber AppendOverflowChain(const std::string& bytes);

 private:
  ByteOrder order_;
  std::string bytes_;
};

// A page source over bytes in memory, sized like a file of those bytes.
class MemoryPageSource : public PageSource {
 public:
  explicit MemoryPageSource(std::string bytes) : bytes_(std::move(bytes)) {}
  Status CountPages(uint32_t* count) override;
  Status ReadPage(PageNumber number, Page* out) override;

 private:
  std::string bytes_;
};

// A record with one-byte-or-wider offsets as the library writes it;
// nullopt is SQL NULL.
std::string MakeRecord(const std::vector<std::optional<std::string>>& values);

}  // namespace sqlite2::format::testing

#endif  // TESTS_SQLITE2_FORMAT_TEST_IMAGE_H_
