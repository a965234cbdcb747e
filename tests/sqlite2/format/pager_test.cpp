#include "sqlite2/format/pager.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "tests/sqlite2/format/test_image.h"

namespace sqlite2::format {
namespace {

using testing::MemoryPageSource;
using testing::TestImage;

constexpr ByteOrder kBothOrders[] = {ByteOrder::kLittleEndian, ByteOrder::kBigEndian};

TEST(PagerTest, HeaderDecodesInTheWritersByteOrder) {
  for (ByteOrder order : kBothOrders) {
    TestImage image(order, 3);
    image.Store32(1, 52, 23);
    image.Store32(1, 56, 60);
    image.Store32(1, 60, 0xfffffff0);
    image.Store32(1, 64, 3);
    MemoryPageSource source(image.bytes());
    Pager pager(&source);
    ASSERT_TRUE(pager.Refresh().ok());
    EXPECT_EQ(pager.page_count(), 3u);
    EXPECT_EQ(pager.byte_order(), order);
    EXPECT_EQ(pager.header().free_list_trunk, 23u);
    EXPECT_EQ(pager.header().free_page_count, 60u);
    EXPECT_EQ(pager.header().schema_cookie, -16);
    EXPECT_EQ(pager.header().file_format, 3);
  }
}

TEST(PagerTest, FileFormats) {
  constexpr char kUpgrade[] =
      "unable to upgrade database to the version 2.6 format: attempt to write a readonly database";
  const struct {
    uint32_t stored;
    const char* decode_error;  // nullptr: decodes
    int32_t format;
    const char* upgrade_error;  // nullptr: readable as it is
  } kCases[] = {
      {0, nullptr, 4, nullptr},
      {1, nullptr, 1, kUpgrade},
      {2, nullptr, 2, kUpgrade},
      {3, nullptr, 3, nullptr},
      {4, nullptr, 4, nullptr},
      {5, "unsupported file format", 0, nullptr},
      {0x7fffffff, "unsupported file format", 0, nullptr},
  };
  for (const auto& c : kCases) {
    TestImage image(ByteOrder::kBigEndian, 1);
    image.Store32(1, 64, c.stored);
    MemoryPageSource source(image.bytes());
    Pager pager(&source);
    const Status status = pager.Refresh();
    if (c.decode_error != nullptr) {
      EXPECT_EQ(status.message(), c.decode_error) << c.stored;
      continue;
    }
    ASSERT_TRUE(status.ok()) << c.stored;
    EXPECT_EQ(pager.header().file_format, c.format);
    EXPECT_EQ(RequireUpgradedFormat(pager.header()).message(),
              c.upgrade_error ? c.upgrade_error : "")
        << c.stored;
  }
}

TEST(PagerTest, WrongMagicIsNotADatabase) {
  const struct {
    const char* what;
    std::function<void(TestImage&)> damage;
  } kCases[] = {
      {"magic text", [](TestImage& image) { image.page(1)[3] = 't'; }},
      {"NUL after the text", [](TestImage& image) { image.page(1)[47] = ' '; }},
      {"magic integer", [](TestImage& image) { image.Store32(1, 48, 0xdae37529); }},
      {"another format's header",
       [](TestImage& image) { std::memcpy(image.page(1), "SQLite format 3", 16); }},
  };
  for (const auto& c : kCases) {
    TestImage image(ByteOrder::kLittleEndian, 2);
    c.damage(image);
    MemoryPageSource source(image.bytes());
    Pager pager(&source);
    const Status status = pager.Refresh();
    EXPECT_EQ(status.rc, 26) << c.what;
    EXPECT_EQ(status.message(), "file is encrypted or is not a database") << c.what;
  }
}

TEST(PagerTest, ShortFilesAndPartialPages) {
  const struct {
    std::string bytes;
    uint32_t page_count;
  } kCases[] = {
      {"", 0},
      // Anything shorter than a page is an empty database, garbage included.
      {std::string(1023, 'x'), 0},
      {TestImage(ByteOrder::kLittleEndian, 2).bytes() + std::string(500, 'x'), 2},
  };
  for (const auto& c : kCases) {
    MemoryPageSource source(c.bytes);
    Pager pager(&source);
    ASSERT_TRUE(pager.Refresh().ok()) << c.bytes.size();
    EXPECT_EQ(pager.page_count(), c.page_count);
    EXPECT_EQ(pager.header().file_format, 4);
    // Pages past the end read as zeros; page 0 does not exist.
    for (PageNumber beyond : {c.page_count + 1, c.page_count + 33, PageNumber{UINT32_MAX}}) {
      const Page* page;
      ASSERT_TRUE(pager.GetPage(beyond, &page).ok()) << beyond;
      EXPECT_EQ(*page, Page{}) << beyond;
      // As a B-tree page: an empty tree where a root is, damage elsewhere.
      const BtreePage* tree;
      ASSERT_TRUE(pager.GetBtreePage(beyond, /*is_root=*/true, &tree).ok()) << beyond;
      EXPECT_TRUE(tree->cells.empty()) << beyond;
      EXPECT_EQ(pager.GetBtreePage(beyond, /*is_root=*/false, &tree).rc, 11) << beyond;
    }
    const Page* page;
    EXPECT_EQ(pager.GetPage(0, &page).rc, 11);
    const BtreePage* tree;
    EXPECT_EQ(pager.GetBtreePage(0, /*is_root=*/true, &tree).rc, 11);
  }
}

// A decoded page is kept, but an empty one still passes only as a root,
// whichever way it was asked for first.
TEST(PagerTest, AnEmptyPageIsAnEmptyTreeOnlyAsARoot) {
  for (bool root_first : {true, false}) {
    TestImage image(ByteOrder::kLittleEndian, 2);
    image.WriteBtreePage(2, 0, {});
    MemoryPageSource source(image.bytes());
    Pager pager(&source);
    ASSERT_TRUE(pager.Refresh().ok());
    const BtreePage* tree = nullptr;
    for (bool is_root : {root_first, !root_first, root_first}) {
      const Status status = pager.GetBtreePage(2, is_root, &tree);
      EXPECT_EQ(status.rc, is_root ? 0 : 11) << root_first << is_root;
      if (is_root) {
        EXPECT_TRUE(tree->cells.empty());
      }
    }
  }
}

// A database as large as page numbers go, each page but the first stamped
// with its own number, counting how often each page is read.
class StampedPageSource : public PageSource {
 public:
  Status CountPages(uint32_t* count) override {
    *count = UINT32_MAX;
    return Status::Ok();
  }
  Status ReadPage(PageNumber number, Page* out) override {
    ++reads[number];
    if (number == 1) {
      std::memcpy(out->data(), header_.page(1), kPageSize);
    } else {
      out->fill(0xee);
      std::memcpy(out->data(), &number, sizeof number);
    }
    return Status::Ok();
  }

  std::map<PageNumber, int> reads;

 private:
  TestImage header_{ByteOrder::kLittleEndian, 1};
};

TEST(PagerTest, EveryPageIsReadOnceAndStaysWhereItWasHandedOut) {
  StampedPageSource source;
  Pager pager(&source);
  ASSERT_TRUE(pager.Refresh().ok());
  // Either side of the cache's slab and table boundaries, and the very last
  // page a 32-bit number reaches, in no particular order.
  const PageNumber kNumbers[] = {2,
                                 32,
                                 33,
                                 65,
                                 64,
                                 1u << 15,
                                 32769,
                                 32768 * 2,
                                 1u << 20,
                                 UINT32_MAX,
                                 UINT32_MAX - 1,
                                 UINT32_MAX - 32,
                                 3,
                                 (1u << 31) + 1};
  std::map<PageNumber, const Page*> handed_out;
  for (PageNumber number : kNumbers) {
    const Page* page;
    ASSERT_TRUE(pager.GetPage(number, &page).ok()) << number;
    handed_out[number] = page;
  }
  for (PageNumber number : kNumbers) {
    const Page* page;
    ASSERT_TRUE(pager.GetPage(number, &page).ok()) << number;
    EXPECT_EQ(page, handed_out[number]) << number;
    PageNumber stamp;
    std::memcpy(&stamp, page->data(), sizeof stamp);
    EXPECT_EQ(stamp, number);
    EXPECT_EQ((*page)[kPageSize - 1], 0xee) << number;
    EXPECT_EQ(source.reads[number], 1) << number;
  }
}

// A file of `page_count` pages, each but the first stamped all over with
// its own number, and `tail` bytes of a partial page after them.
TestImage StampedFile(uint32_t page_count, size_t tail) {
  TestImage image(ByteOrder::kLittleEndian, page_count);
  for (PageNumber number = 2; number <= page_count; ++number) {
    std::memset(image.page(number), static_cast<int>(number), kPageSize);
  }
  image.bytes().append(tail, 'x');
  return image;
}

void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

// Pages come from the file a slab at a time, up to its last whole page;
// whatever slab a page falls in, and whichever page of it is wanted first,
// each reads as it is in the file, and pages past the end as zeros.
TEST(FilePageSourceTest, PagesReadAsTheFileHoldsThem) {
  const std::string path = ::testing::TempDir() + "stamped.db";
  const struct {
    uint32_t pages;
    size_t tail;
    PageNumber first_wanted;
  } kCases[] = {
      {1, 0, 1},    {2, 0, 2},   {31, 0, 31},    {32, 0, 1},  {33, 0, 33},
      {33, 500, 2}, {64, 0, 40}, {69, 1023, 69}, {69, 5, 34},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(::testing::Message() << c.pages << " pages, " << c.tail << " bytes more");
    TestImage image = StampedFile(c.pages, c.tail);
    WriteFile(path, image.bytes());
    std::unique_ptr<FilePageSource> source;
    ASSERT_TRUE(FilePageSource::Open(path, &source).ok());
    Pager pager(source.get());
    ASSERT_TRUE(pager.Refresh().ok());
    ASSERT_EQ(pager.page_count(), c.pages);
    const Page* page;
    ASSERT_TRUE(pager.GetPage(c.first_wanted, &page).ok());
    for (PageNumber number = 1; number <= c.pages + 40; ++number) {
      ASSERT_TRUE(pager.GetPage(number, &page).ok()) << number;
      if (number <= c.pages) {
        EXPECT_EQ(std::memcmp(page->data(), image.page(number), kPageSize), 0) << number;
      } else {
        EXPECT_EQ(*page, Page{}) << number;
      }
    }
  }
  std::remove(path.c_str());
}

// A file cut short after its pages were counted: the pages it no longer
// holds, whole or in part, read as zeros, also inside a slab.
TEST(FilePageSourceTest, PagesCutOffAfterTheCountReadAsZeros) {
  const std::string path = ::testing::TempDir() + "cut.db";
  TestImage image = StampedFile(40, 0);
  WriteFile(path, image.bytes());
  std::unique_ptr<FilePageSource> source;
  ASSERT_TRUE(FilePageSource::Open(path, &source).ok());
  Pager pager(source.get());
  ASSERT_TRUE(pager.Refresh().ok());
  constexpr size_t kKept = 35 * kPageSize + 100;
  ASSERT_EQ(::truncate(path.c_str(), kKept), 0);
  std::string expected = image.bytes().substr(0, kKept);
  expected.resize(40 * kPageSize, '\0');
  for (PageNumber number : {37, 33, 35, 36, 40}) {
    const Page* page;
    ASSERT_TRUE(pager.GetPage(number, &page).ok()) << number;
    EXPECT_EQ(std::memcmp(page->data(), &expected[(number - 1) * kPageSize], kPageSize), 0)
        << number;
  }
  std::remove(path.c_str());
}

// A source one of whose pages cannot be read.
class FailingPageSource : public MemoryPageSource {
 public:
  FailingPageSource(std::string bytes, PageNumber bad) : MemoryPageSource(bytes), bad_(bad) {}
  Status ReadPage(PageNumber number, Page* out) override {
    return number == bad_ ? Status::IoError() : MemoryPageSource::ReadPage(number, out);
  }

 private:
  PageNumber bad_;
};

// A page that cannot be read fails itself every time it is wanted, and
// none of the pages read along with it.
TEST(PagerTest, AnUnreadablePageFailsOnlyItself) {
  TestImage image = StampedFile(70, 0);
  for (PageNumber bad : {2, 33, 40, 64, 70}) {
    for (PageNumber first : {bad, bad - 1, PageNumber{70}}) {
      FailingPageSource source(image.bytes(), bad);
      Pager pager(&source);
      ASSERT_TRUE(pager.Refresh().ok());
      const Page* page;
      for (PageNumber number : {first, bad, PageNumber{1}, bad + 1, bad - 1, bad}) {
        const Status status = pager.GetPage(number, &page);
        if (number == bad) {
          EXPECT_EQ(status.message(), "disk I/O error") << bad << " " << number;
        } else if (number <= 70) {
          ASSERT_TRUE(status.ok()) << bad << " " << number;
          EXPECT_EQ(std::memcmp(page->data(), image.page(number), kPageSize), 0) << number;
        }
      }
    }
  }
}

TEST(FilePageSourceTest, OpenFailures) {
  std::unique_ptr<FilePageSource> source;
  const std::string missing = ::testing::TempDir() + "no-such-dir/x.db";
  Status status = FilePageSource::Open(missing, &source);
  EXPECT_EQ(status.message(), "unable to open database: " + missing);
  // Never created.
  EXPECT_NE(::access(missing.c_str(), F_OK), 0);
  const std::string missing_file = ::testing::TempDir() + "no-such-file.db";
  EXPECT_EQ(FilePageSource::Open(missing_file, &source).rc, 14);
  EXPECT_NE(::access(missing_file.c_str(), F_OK), 0);
  status = FilePageSource::Open(::testing::TempDir(), &source);
  EXPECT_EQ(status.message(), "disk I/O error");
}

}  // namespace
}  // namespace sqlite2::format
