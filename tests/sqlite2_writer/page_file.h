// The pages of a database image while it is being built, and the integer
// encodings the B-tree layer uses in the image's byte order.
//
// Pages are numbered from 1 and are 1024 bytes each. Page 1 is the file
// header, page 2 the root of sqlite_master; every other page is handed out by
// Allocate() in the order the builder asks for them. Pages never move once
// allocated, so a pointer into one stays valid while more are added.
#ifndef TESTS_SQLITE2_WRITER_PAGE_FILE_H_
#define TESTS_SQLITE2_WRITER_PAGE_FILE_H_

#include <cstdint>
#include <deque>
#include <vector>

#include "sqlite2/format/page.h"

namespace sqlite2::writer {

using format::ByteOrder;
using format::PageNumber;

class PageFile {
 public:
  explicit PageFile(ByteOrder order) : order_(order) {}

  uint32_t page_count() const { return static_cast<uint32_t>(pages_.size()); }

  // Appends a page of zero bytes and returns its number.
  PageNumber Allocate();
  // Page `number`, which must have been allocated.
  uint8_t* Page(PageNumber number) { return pages_.at(number - 1).data(); }

  // Fills in page 1: the magic text and integer, an empty free list, the
  // schema cookie and the file format; the other meta values stay 0.
  void WriteHeader(int32_t schema_cookie, uint32_t file_format);

  // Stores a B-tree-layer integer at `at` in the image's byte order.
  void Store16(uint8_t* at, uint16_t value) const;
  void Store32(uint8_t* at, uint32_t value) const;

  // The whole image, page 1 first.
  std::vector<uint8_t> Bytes() const;

 private:
  ByteOrder order_;
  std::deque<format::Page> pages_;
};

// Integers that are big-endian whatever the image's byte order: table keys,
// the rowid that ends an index key, and every field of a journal.
void StoreBigEndian32(uint8_t* at, uint32_t value);

}  // namespace sqlite2::writer

#endif  // TESTS_SQLITE2_WRITER_PAGE_FILE_H_
