// The committed image a hot journal stands for: which pages come from the
// journal, which from the file, and where playback stops, for each journal
// format and each way a journal can be short, stale or damaged.
#include "sqlite2/format/journal.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include "tests/sqlite2/format/test_image.h"

namespace sqlite2::format {
namespace {

using testing::MemoryPageSource;

constexpr uint32_t kSeed = 0x8b35f13b;
constexpr uint32_t kFilePages = 6;

// File page n is filled with 0x10 + n, a journal copy of it with 0xa0 + n.
uint8_t FileByte(uint32_t n) {
  return static_cast<uint8_t>(0x10 + n);
}
uint8_t JournalByte(uint32_t n) {
  return static_cast<uint8_t>(0xa0 + n);
}

class Journal {
 public:
  Journal& Bytes(std::string_view bytes) {
    bytes_.append(bytes);
    return *this;
  }
  Journal& Magic(uint8_t last) {
    const char magic[] = {'\xd9', '\xd5', '\x05', '\xf9',
                          '\x20', '\xa1', '\x63', static_cast<char>(last)};
    return Bytes({magic, sizeof magic});
  }
  Journal& U32(uint32_t value, bool native = false) {
    char bytes[4] = {static_cast<char>(value >> 24), static_cast<char>(value >> 16),
                     static_cast<char>(value >> 8), static_cast<char>(value)};
    if (native)
      std::memcpy(bytes, &value, sizeof value);
    return Bytes({bytes, sizeof bytes});
  }
  Journal& Header3(uint32_t count, uint32_t original) {
    return Magic(0xd6).U32(count).U32(kSeed).U32(original);
  }
  // A format 3 record of page `n`; the checksum is right unless given.
  Journal& Record3(uint32_t n, std::optional<uint32_t> checksum = std::nullopt) {
    return U32(n)
        .Bytes(std::string(kPageSize, static_cast<char>(JournalByte(n))))
        .U32(checksum.value_or(kSeed + n));
  }
  // A record without a checksum word, as formats 1 and 2 write them.
  Journal& Record(uint32_t n, bool native = false) {
    return U32(n, native).Bytes(std::string(kPageSize, static_cast<char>(JournalByte(n))));
  }
  const std::string& bytes() const { return bytes_; }

 private:
  std::string bytes_;
};

// The image as one letter per page: F from the file, J from the journal,
// 0 zeros; "none" when the journal rolls nothing back.
std::string Layout(const std::string& journal_path) {
  std::string file;
  for (uint32_t n = 1; n <= kFilePages; ++n)
    file.append(kPageSize, static_cast<char>(FileByte(n)));
  MemoryPageSource source(file);
  std::unique_ptr<JournalOverlay> overlay;
  Status status = JournalOverlay::Open(journal_path, &source, &overlay);
  if (!status.ok())
    return "rc " + std::to_string(status.rc);
  if (overlay == nullptr)
    return "none";
  uint32_t count = 0;
  EXPECT_TRUE(overlay->CountPages(&count).ok());
  std::string layout;
  for (uint32_t n = 1; n <= count; ++n) {
    Page page;
    EXPECT_TRUE(overlay->ReadPage(n, &page).ok());
    const uint8_t first = page[0];
    EXPECT_EQ(std::count(page.begin(), page.end(), first), static_cast<long>(kPageSize));
    layout += first == FileByte(n) ? 'F' : first == JournalByte(n) ? 'J' : first == 0 ? '0' : '?';
  }
  return layout;
}

class JournalTest : public ::testing::Test {
 protected:
  JournalTest() {
    std::string pattern = ::testing::TempDir() + "journal_test_XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr)
      ADD_FAILURE() << "mkdtemp failed";
    dir_ = pattern;
  }
  ~JournalTest() override { std::filesystem::remove_all(dir_); }

  std::string Write(const Journal& journal) {
    std::ofstream(path(), std::ios::binary) << journal.bytes();
    return path();
  }
  std::string path() const { return dir_ + "/db-journal"; }

 private:
  std::string dir_;
};

TEST_F(JournalTest, PlaybackFollowsTheLibrarysRules) {
  const std::string records_2_and_4 = Journal().Record3(2).Record3(4).bytes();
  const struct {
    const char* what;
    Journal journal;
    const char* layout;
  } kCases[] = {
      {"counted records", Journal().Header3(2, 5).Bytes(records_2_and_4), "FJFJF"},
      {"a count of 0 only cuts the file back", Journal().Header3(0, 4).Bytes(records_2_and_4),
       "FFFF"},
      {"0xffffffff counts what the size holds",
       Journal().Header3(0xffffffff, 5).Bytes(records_2_and_4).Bytes("partial"), "FJFJF"},
      {"a count past the end stops at the end", Journal().Header3(3, 5).Bytes(records_2_and_4),
       "FJFJF"},
      {"a wrong checksum ends playback",
       Journal().Header3(3, 5).Record3(2).Record3(3, kSeed).Record3(4), "FJFFF"},
      {"page 0 ends playback", Journal().Header3(3, 5).Record3(2).Record3(0).Record3(4), "FJFFF"},
      {"a later record of a page wins",
       Journal()
           .Header3(2, 5)
           .Record3(2)
           .U32(2)
           .Bytes(std::string(kPageSize, '\x33'))
           .U32(kSeed + 2),
       "F?FFF"},
      {"the original size may exceed the file", Journal().Header3(1, 8).Record3(7), "FFFFFFJ0"},
      {"an empty original database", Journal().Header3(1, 0).Record3(1), ""},
      // A record past the original size is skipped without its checksum
      // word: here the next record starts right after its data, and is
      // read, while a properly laid out one would be read out of step.
      {"past the original size, then in step", Journal().Header3(2, 5).Record(9).Record3(4),
       "FFFJF"},
      {"past the original size, then out of step",
       Journal().Header3(3, 5).Record3(2).Record3(9).Record3(4), "FJFFF"},
      {"format 2", Journal().Magic(0xd5).U32(5).Record(2).Record(4).Bytes("partial"), "FJFJF"},
      {"format 1 in this machine's order",
       Journal().Magic(0xd4).U32(5, true).Record(2, true).Record(4, true), "FJFJF"},
      {"shorter than the smallest header", Journal().Magic(0xd6).Bytes("abc"), "none"},
      {"a format 3 header cut short", Journal().Magic(0xd6).U32(1).U32(kSeed), "none"},
      {"an unknown magic", Journal().Magic(0x00).U32(1).U32(kSeed).U32(5).Record3(2), "none"},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(Layout(Write(c.journal)), c.layout) << c.what;
  }
}

TEST_F(JournalTest, NoJournalAndUnreadableJournal) {
  EXPECT_EQ(Layout(path()), "none");
  // The library cannot roll back a journal it cannot read, and says the
  // database is locked.
  ASSERT_EQ(::mkdir(path().c_str(), 0700), 0);
  EXPECT_EQ(Layout(path()), "rc 5");
}

}  // namespace
}  // namespace sqlite2::format
