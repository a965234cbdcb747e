// Walks a database image the writer produced and checks, independently of
// the engine's decoders, everything a B-tree in the file must satisfy:
// cells and free blocks tile each page exactly, cells are aligned and linked
// in ascending key order, free blocks ascend and never touch, leaves all sit
// at one depth, child pages are never empty, overflow chains have exactly
// the length their payload needs, and no page is used twice.
#ifndef TESTS_SQLITE2_WRITER_IMAGE_INSPECTOR_H_
#define TESTS_SQLITE2_WRITER_IMAGE_INSPECTOR_H_

#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "sqlite2/format/page.h"

namespace sqlite2::writer::testing {

using format::ByteOrder;
using format::PageNumber;

struct TreeReport {
  // Every entry in key order: key and data, overflow included.
  std::vector<std::pair<std::string, std::string>> entries;
  // Pages per level, root first.
  std::vector<size_t> pages_per_level;
  // Bytes taken by cells on each page below the root.
  std::vector<uint32_t> child_page_use;
  size_t overflow_pages = 0;
  // Whether some page stores its cells out of key order.
  bool scattered = false;
};

// An integer of the B-tree layer: where it is in the file and how wide.
struct Field {
  size_t offset;
  size_t width;
};

class ImageInspector {
 public:
  // Failures are reported to the running test.
  explicit ImageInspector(std::span<const uint8_t> image);

  ByteOrder byte_order() const { return order_; }
  uint32_t page_count() const { return static_cast<uint32_t>(use_count_.size()); }

  TreeReport Walk(PageNumber root);
  // Once every tree has been walked: pages 2 and up were each used once.
  void ExpectEveryPageUsedOnce() const;
  // The fields that depend on the byte order, of page 1 and of everything
  // walked so far.
  const std::vector<Field>& ordered_fields() const { return fields_; }

 private:
  const uint8_t* Page(PageNumber number) const;
  uint32_t Load16(const uint8_t* at) const { return format::Load16(at, order_); }
  uint32_t Load32(const uint8_t* at) const { return format::Load32(at, order_); }
  void Use(PageNumber number);
  void Note(const uint8_t* at, size_t width);
  void WalkPage(PageNumber number, size_t depth, TreeReport* report, size_t* leaf_depth);
  std::string ReadPayload(const uint8_t* cell, uint32_t size, TreeReport* report);

  std::span<const uint8_t> image_;
  ByteOrder order_ = ByteOrder::kLittleEndian;
  std::vector<int> use_count_;
  std::vector<Field> fields_;
};

}  // namespace sqlite2::writer::testing

#endif  // TESTS_SQLITE2_WRITER_IMAGE_INSPECTOR_H_
