#include "hookwright/hkwprintf.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdint>
#include <string>

namespace {

struct Thing {
  std::string name;
};
std::string HookwrightDescribe(const Thing& thing) {
  return "<" + thing.name + ">";
}

// Captures everything written to the log while it lives.
class CapturedLog {
 public:
  CapturedLog()
      : previous_(hookwright::SetLogSink([this](std::string_view b) { pieces_.emplace_back(b); })) {
  }
  ~CapturedLog() { hookwright::SetLogSink(previous_); }
  const std::vector<std::string>& pieces() const { return pieces_; }

 private:
  std::vector<std::string> pieces_;
  hookwright::LogSink previous_;
};

TEST(Hkwprintf, WritesOnePiecePerCall) {
  CapturedLog log;
  hkwprintf("[QB] Cannot find FontAgent Pro database\n");
  hkwprintf("Unable to find set table error %d: %s\n", 1, "no such table: sets");
  ASSERT_EQ(log.pieces().size(), 2u);
  EXPECT_EQ(log.pieces()[0], "[QB] Cannot find FontAgent Pro database\n");
  EXPECT_EQ(log.pieces()[1], "Unable to find set table error 1: no such table: sets\n");
}

TEST(Hkwprintf, ConversionsAsPrintfWritesThem) {
  const char* no_text = nullptr;
  struct Case {
    std::string got, want;
  } cases[] = {
      {hookwright::Format("%d", -43), "-43"},
      {hookwright::Format("%lu", 2ul), "2"},
      {hookwright::Format("%04x", 0x21u), "0021"},
      {hookwright::Format("%08x", 0x77u), "00000077"},
      {hookwright::Format("0x%08lx", 0x1234ul), "0x00001234"},
      {hookwright::Format("%d", uintptr_t{5}), "5"},
      {hookwright::Format("%d", int64_t{0x1'0000'0007}), "7"},  // low 32 bits, as int
      {hookwright::Format("%qu", uint64_t{18446744073709551615u}), "18446744073709551615"},
      {hookwright::Format("%f vs %f", 0.0, 12.5), "0.000000 vs 12.500000"},
      {hookwright::Format("%s|%5s|%-3s|", "a", "b", "c"), "a|    b|c  |"},
      {hookwright::Format("%s", no_text), "(null)"},
      {hookwright::Format("%s", std::string("str")), "str"},
      {hookwright::Format("100%%"), "100%"},
      {hookwright::Format("%@ and %@", Thing{"x"}, nullptr), "<x> and (null)"},
      {hookwright::Format("%c", 'A'), "A"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(c.got, c.want);
}

TEST(Hkwprintf, NumbersIgnoreTheProcessLocale) {
  const char* old = std::setlocale(LC_NUMERIC, nullptr);
  std::string saved = old ? old : "C";
  if (std::setlocale(LC_NUMERIC, "de_DE.UTF-8") == nullptr)
    GTEST_SKIP() << "no German locale";
  EXPECT_EQ(hookwright::Format("%f", 1.5), "1.500000");
  std::setlocale(LC_NUMERIC, saved.c_str());
}

TEST(Hkwprintf, LongDescriptionsAreNotCut) {
  std::string big(5000, 'z');
  EXPECT_EQ(hookwright::Format("[%@]", Thing{big}), "[<" + big + ">]");
}

}  // namespace
