#include "platform/preferences.h"

#include <gtest/gtest.h>
#include <plist/plist.h>
#include <sys/stat.h>
#include <unistd.h>

#include <bit>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/preferences_file.h"
#include "tests/support/environment.h"
#include "tests/support/temporary_home.h"

namespace {

constexpr char kDomain[] = "com.example.Test";
constexpr char kKey[] = "Log Stuff";

enum class Format { kXml, kBinary };

std::string Serialise(plist_t root, Format format) {
  char* bytes = nullptr;
  uint32_t length = 0;
  if (format == Format::kXml) {
    plist_to_xml(root, &bytes, &length);
  } else {
    plist_to_bin(root, &bytes, &length);
  }
  std::string result(bytes, length);
  free(bytes);
  return result;
}

void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

// Writes the domain file holding `value` under kKey (or an empty dictionary
// when `value` is null), in the given format.
void WriteDomain(const std::string& folder, plist_t value, Format format) {
  UniquePlist root(plist_new_dict());
  if (value != nullptr)
    plist_dict_set_item(root.get(), kKey, value);
  WriteFile(folder + "/" + kDomain + ".plist", Serialise(root.get(), format));
}

struct Reading {
  bool value;
  bool valid;
  friend bool operator==(const Reading&, const Reading&) = default;
};
std::ostream& operator<<(std::ostream& out, const Reading& r) {
  return out << "{value " << r.value << ", valid " << r.valid << "}";
}

Reading Read(std::string_view key = kKey, std::string_view domain = kDomain) {
  bool valid = true;
  bool value = CFPreferencesGetAppBooleanValue(key, domain, &valid);
  return {value, valid};
}

class PreferencesTest : public testing::Test {
 protected:
  qbfa_test::TemporaryHome home_;
};

TEST_F(PreferencesTest, ValuesConvertAsThePlatformConvertsThem) {
  const Reading kTrue{true, true}, kFalse{false, true}, kInvalid{false, false};
  struct Case {
    const char* what;
    std::function<plist_t()> value;
    Reading expected;
  };
  const std::vector<Case> cases = {
      {"boolean true", [] { return plist_new_bool(1); }, kTrue},
      {"boolean false", [] { return plist_new_bool(0); }, kFalse},
      {"zero", [] { return plist_new_uint(0); }, kFalse},
      {"one", [] { return plist_new_uint(1); }, kTrue},
      {"minus one", [] { return plist_new_uint(UINT64_MAX); }, kTrue},
      {"real zero", [] { return plist_new_real(0.0); }, kFalse},
      {"real half", [] { return plist_new_real(0.5); }, kTrue},
      {"real negative", [] { return plist_new_real(-2.0); }, kTrue},
      {"true", [] { return plist_new_string("true"); }, kTrue},
      {"TRUE", [] { return plist_new_string("TRUE"); }, kTrue},
      {"YES", [] { return plist_new_string("YES"); }, kTrue},
      {"yEs", [] { return plist_new_string("yEs"); }, kTrue},
      {"false", [] { return plist_new_string("false"); }, kFalse},
      {"No", [] { return plist_new_string("No"); }, kFalse},
      {"1 as text", [] { return plist_new_string("1"); }, kInvalid},
      {"padded", [] { return plist_new_string(" true"); }, kInvalid},
      {"prefix", [] { return plist_new_string("tru"); }, kInvalid},
      {"longer", [] { return plist_new_string("yess"); }, kInvalid},
      {"empty text", [] { return plist_new_string(""); }, kInvalid},
      {"data", [] { return plist_new_data("\x01", 1); }, kInvalid},
      {"date", [] { return plist_new_date(1, 0); }, kInvalid},
      {"array", [] { return plist_new_array(); }, kInvalid},
      {"dictionary", [] { return plist_new_dict(); }, kInvalid},
      {"missing key", [] { return plist_t{nullptr}; }, kInvalid},
  };
  for (Format format : {Format::kXml, Format::kBinary}) {
    for (const Case& c : cases) {
      WriteDomain(home_.config_dir(), c.value(), format);
      EXPECT_EQ(Read(), c.expected) << c.what << (format == Format::kXml ? " (XML)" : " (binary)");
    }
  }
}

TEST_F(PreferencesTest, AFileThatIsNotADictionaryListReadsAsAbsent) {
  const std::string path = home_.config_dir() + "/" + kDomain + ".plist";
  UniquePlist array(plist_new_array());
  plist_array_append_item(array.get(), plist_new_bool(1));
  const std::vector<std::pair<const char*, std::string>> cases = {
      {"empty", ""},
      {"garbage", "Log Stuff = YES"},
      {"truncated XML", Serialise(array.get(), Format::kXml).substr(0, 60)},
      {"truncated binary", Serialise(array.get(), Format::kBinary).substr(0, 20)},
      {"array at the root", Serialise(array.get(), Format::kXml)},
      {"too large", std::string(kPreferencesFileLimit + 1, ' ')},
  };
  for (const auto& [what, bytes] : cases) {
    WriteFile(path, bytes);
    EXPECT_EQ(Read(), (Reading{false, false})) << what;
  }
  std::filesystem::remove(path);
  EXPECT_EQ(Read(), (Reading{false, false})) << "no file";
}

// The most deeply nested lists that fit in the size limit, one per format:
// arrays inside arrays, down to the bottom.
std::string DeepestXml() {
  const std::string head = "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>k</key>";
  const std::string tail = "</dict></plist>";
  size_t levels = (kPreferencesFileLimit - head.size() - tail.size()) / 15;
  std::string xml = head;
  for (size_t i = 0; i < levels; ++i)
    xml += "<array>";
  for (size_t i = 0; i < levels; ++i)
    xml += "</array>";
  return xml + tail;
}

void AppendBigEndian(std::string* out, uint64_t value, int size) {
  for (int k = size - 1; k >= 0; --k)
    out->push_back(static_cast<char>(value >> (8 * k)));
}

// The end of a binary property list whose objects start at `offsets`, the
// first being the top: the offset table and the trailer.
std::string BinaryTail(size_t table, const std::vector<uint64_t>& offsets, int offset_size,
                       int ref_size) {
  std::string tail;
  for (uint64_t offset : offsets)
    AppendBigEndian(&tail, offset, offset_size);
  tail += std::string(6, '\0');
  tail += static_cast<char>(offset_size);
  tail += static_cast<char>(ref_size);
  AppendBigEndian(&tail, offsets.size(), 8);
  AppendBigEndian(&tail, 0, 8);
  AppendBigEndian(&tail, table, 8);
  return tail;
}

std::string DeepestBinary() {
  // Objects 0 .. n-1, each an array holding the next; 4-byte references and
  // offsets. Object i takes 5 bytes plus its 4-byte offset.
  const size_t count = (kPreferencesFileLimit - 8 - 32) / 9;
  std::string bytes = "bplist00";
  std::vector<uint64_t> offsets;
  for (size_t i = 0; i < count; ++i) {
    offsets.push_back(bytes.size());
    if (i + 1 < count) {
      bytes += '\xA1';
      AppendBigEndian(&bytes, i + 1, 4);
    } else {
      bytes += '\xA0';
    }
  }
  return bytes + BinaryTail(bytes.size(), offsets, 4, 4);
}

// Encoded objects of a binary property list.
const std::string kTrue = "\x09", kFalse = "\x08";
std::string String(std::string_view text) {  // ASCII, shorter than 15 bytes
  return static_cast<char>(0x50 | text.size()) + std::string(text);
}
std::string Utf16String(std::u16string_view text) {  // shorter than 15 units
  std::string string(1, static_cast<char>(0x60 | text.size()));
  for (char16_t unit : text)
    AppendBigEndian(&string, unit, 2);
  return string;
}
std::string Date(double seconds) {
  std::string date = "\x33";
  AppendBigEndian(&date, std::bit_cast<uint64_t>(seconds), 8);
  return date;
}

// A binary property list of one dictionary holding `entries` in this
// order, repeats and all, which no writer of dictionaries would make.
std::string BinaryDictionary(const std::vector<std::pair<std::string, std::string>>& entries) {
  const size_t n = entries.size();
  std::string bytes = "bplist00";
  std::vector<uint64_t> offsets{bytes.size()};
  bytes += static_cast<char>(0xD0 | n);
  for (size_t i = 0; i < 2 * n; ++i)
    bytes += static_cast<char>(1 + i);  // keys 1..n, then values n+1..2n
  for (const auto& [key, value] : entries) {
    offsets.push_back(bytes.size());
    bytes += String(key);
  }
  for (const auto& [key, value] : entries) {
    offsets.push_back(bytes.size());
    bytes += value;
  }
  return bytes + BinaryTail(bytes.size(), offsets, 2, 1);
}

TEST_F(PreferencesTest, TheDeepestFilesWithinTheLimitAreReadWithoutHarm) {
  const std::string path = home_.config_dir() + "/" + kDomain + ".plist";
  for (const std::string& bytes : {DeepestXml(), DeepestBinary()}) {
    ASSERT_LE(bytes.size(), kPreferencesFileLimit);
    WriteFile(path, bytes);
    EXPECT_EQ(Read(), (Reading{false, false}));
  }
}

// Binary lists can hold what XML cannot: a key holding U+0000 (on which
// libplist would abort), and one key twice, which reads as in XML.
TEST_F(PreferencesTest, BinaryKeysReadAsTheirXmlFormReads) {
  const std::string path = home_.config_dir() + "/" + kDomain + ".plist";
  struct Case {
    const char* what;
    std::string bytes;
    Reading expected;
  };
  const std::vector<Case> cases = {
      {"key holding U+0000",
       BinaryDictionary({{std::string("Log Stuff\0", 10), kTrue}}),
       {false, false}},
      {"repeated key, true last",
       BinaryDictionary({{kKey, kFalse}, {"Other", String("x")}, {kKey, kTrue}}),
       {true, true}},
      {"repeated key, false last",
       BinaryDictionary({{kKey, kTrue}, {kKey, kFalse}}),
       {false, true}},
      {"repeated key in XML",
       "<plist version=\"1.0\"><dict><key>Log Stuff</key><false/><key>Other</key><string>x"
       "</string><key>Log Stuff</key><true/></dict></plist>",
       {true, true}},
  };
  for (const Case& c : cases) {
    WriteFile(path, c.bytes);
    EXPECT_EQ(Read(), c.expected) << c.what;
  }
  UniquePlist root;
  std::string error;
  WriteFile(path, cases[1].bytes);
  ASSERT_EQ(ReadPreferencesDomain(kDomain, &root, &error), DomainState::kPresent) << error;
  EXPECT_EQ(plist_dict_get_size(root.get()), 2u);
}

// Values that libplist would write as other values: `defaults write`
// refuses to rewrite such a file rather than change a key it was not asked
// to change.
TEST_F(PreferencesTest, WritingRefusesValuesThatXmlWouldChange) {
  const std::string path = home_.config_dir() + "/" + kDomain + ".plist";
  const std::vector<std::pair<const char*, std::string>> cases = {
      // libplist reads an ASCII string only up to a U+0000 in it, but all
      // of a UTF-16 one.
      {"string holding U+0000", Utf16String(std::u16string_view(u"a\0b", 3))},
      {"date after the year 9999", Date(1e300)},
      {"date before the year 1", Date(-1e300)},
  };
  for (const auto& [what, value] : cases) {
    const std::string bytes = BinaryDictionary({{"Other", value}});
    WriteFile(path, bytes);
    UniquePlist root;
    std::string error;
    ASSERT_EQ(ReadPreferencesDomain(kDomain, &root, &error), DomainState::kPresent) << what;
    plist_dict_set_item(root.get(), kKey, plist_new_bool(1));
    EXPECT_FALSE(WritePreferencesDomain(kDomain, root.get(), &error)) << what;
    EXPECT_TRUE(error.starts_with(path)) << error;
    std::ifstream file(path, std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), bytes) << what;
  }
}

TEST_F(PreferencesTest, TheFileIsFoundWhereTheEnvironmentSays) {
  const std::string other = home_.root() + "/elsewhere";
  std::filesystem::create_directories(other);
  WriteDomain(other, plist_new_bool(1), Format::kXml);
  WriteDomain(home_.config_dir(), plist_new_bool(0), Format::kXml);

  EXPECT_EQ(Read(), (Reading{false, true})) << "XDG_CONFIG_HOME";
  {
    qbfa_test::ScopedEnvironmentVariable config("XDG_CONFIG_HOME", other);
    EXPECT_EQ(Read(), (Reading{true, true})) << "moved XDG_CONFIG_HOME";
  }
  {
    // A relative value must not make the answer depend on the working folder.
    qbfa_test::ScopedEnvironmentVariable config("XDG_CONFIG_HOME", "elsewhere");
    EXPECT_EQ(Read(), (Reading{false, true})) << "relative XDG_CONFIG_HOME";
  }
  {
    qbfa_test::ScopedEnvironmentVariable config("XDG_CONFIG_HOME", std::nullopt);
    EXPECT_EQ(Read(), (Reading{false, true})) << "~/.config";
  }
  // A preferences file kept elsewhere and linked in is read through the link.
  std::filesystem::remove(home_.config_dir() + "/" + kDomain + ".plist");
  std::filesystem::create_symlink(other + "/" + kDomain + ".plist",
                                  home_.config_dir() + "/" + kDomain + ".plist");
  EXPECT_EQ(Read(), (Reading{true, true})) << "linked file";
}

TEST_F(PreferencesTest, IdsAndKeysThatCannotNameAPreferenceReadAsAbsent) {
  WriteDomain(home_.config_dir(), plist_new_bool(1), Format::kXml);
  ASSERT_EQ(Read(), (Reading{true, true}));
  for (std::string_view domain :
       {std::string_view(""), std::string_view("../.config/com.example.Test"),
        std::string_view("a/b"), std::string_view(".hidden"), std::string_view("com\0x", 5)}) {
    EXPECT_EQ(Read(kKey, domain), (Reading{false, false})) << domain;
  }
  EXPECT_EQ(Read(std::string_view("Log Stuff\0more", 14)), (Reading{false, false}));
  EXPECT_FALSE(CFPreferencesGetAppBooleanValue(kKey, "", nullptr));
}

TEST_F(PreferencesTest, WritingReplacesTheFileAndKeepsWhatItRead) {
  UniquePlist root(plist_new_dict());
  plist_dict_set_item(root.get(), "Other", plist_new_string("kept"));
  std::string error;
  ASSERT_TRUE(WritePreferencesDomain(kDomain, root.get(), &error)) << error;

  UniquePlist read;
  ASSERT_EQ(ReadPreferencesDomain(kDomain, &read, &error), DomainState::kPresent) << error;
  plist_dict_set_item(read.get(), kKey, plist_new_bool(1));
  ASSERT_TRUE(WritePreferencesDomain(kDomain, read.get(), &error)) << error;

  EXPECT_EQ(Read(), (Reading{true, true}));
  ASSERT_EQ(ReadPreferencesDomain(kDomain, &read, &error), DomainState::kPresent) << error;
  plist_t other = plist_dict_get_item(read.get(), "Other");
  ASSERT_NE(other, nullptr);
  EXPECT_STREQ(plist_get_string_ptr(other, nullptr), "kept");

  const std::string path = PreferencesFilePath(kDomain);
  struct stat info;
  ASSERT_EQ(lstat(path.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);
  // Nothing but the file itself is left in the folder.
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(home_.config_dir()),
                          std::filesystem::directory_iterator()),
            1);

  bool existed = false;
  ASSERT_TRUE(DeletePreferencesDomain(kDomain, &existed, &error)) << error;
  EXPECT_TRUE(existed);
  ASSERT_TRUE(DeletePreferencesDomain(kDomain, &existed, &error)) << error;
  EXPECT_FALSE(existed);
  EXPECT_EQ(ReadPreferencesDomain(kDomain, &read, &error), DomainState::kAbsent);
  EXPECT_EQ(plist_dict_get_size(read.get()), 0u);
}

TEST_F(PreferencesTest, WritingCreatesAMissingFolder) {
  qbfa_test::ScopedEnvironmentVariable config("XDG_CONFIG_HOME", home_.root() + "/new/config");
  UniquePlist root(plist_new_dict());
  plist_dict_set_item(root.get(), kKey, plist_new_string("YES"));
  std::string error;
  ASSERT_TRUE(WritePreferencesDomain(kDomain, root.get(), &error)) << error;
  EXPECT_EQ(Read(), (Reading{true, true}));
  EXPECT_FALSE(WritePreferencesDomain("a/b", root.get(), &error));
  EXPECT_NE(error.find("a/b"), std::string::npos) << error;
}

}  // namespace
