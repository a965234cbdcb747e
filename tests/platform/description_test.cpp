#include "platform/description.h"

#include <gtest/gtest.h>

#include <string>

#include "hookwright/hkwprintf.h"
#include "hookwright/log.h"

namespace cf {
namespace {

Ref<Dictionary> Font(const char* name) {
  Ref<Dictionary> font = Dictionary::Create();
  font->Set("kQBFontInfoPostScriptName", MakeString(name));
  font->Set("kQBFontInfoFontFormat", MakeString("true"));
  return font;
}

TEST(DescribeTest, PrintsAsThePlatformDoes) {
  Ref<Array> plain = Array::Create();
  for (const char* word : {"a", "b-c_d$e.f/g:h", "", "two words", "say \"hi\"", "back\\slash",
                           "line\nbreak\ttab", "caf\xC3\xA9", "\xF0\x9F\x98\x80", "\x01"}) {
    plain->Append(MakeString(word));
  }
  plain->Append(Boolean::True());
  plain->Append(Boolean::False());
  plain->Append(URL::CreateWithFileSystemPath("/Library/FontAgent Pro/FontAgent.db"));

  Ref<Dictionary> set = Dictionary::Create();
  set->Set("SetName", MakeString("My Set"));
  set->Set("Fonts", Array::Create());
  set->Set("Children", Array::Create());
  set->GetArray("Children")->Append(Font("Helvetica"));
  set->Set("HasParents", Boolean::True());
  set->Set("empty", Dictionary::Create());

  struct Case {
    const char* name;
    Ref<Object> object;
    std::string expected;
  };
  const Case cases[] = {
      {"null", nullptr, "(null)"},
      {"string stands as itself", MakeString("two \"words\""), "two \"words\""},
      {"true", Boolean::True(), "1"},
      {"false", Boolean::False(), "0"},
      {"url", URL::CreateWithFileSystemPath("/Users/Shared/Library/FontAgent Pro"),
       "file:///Users/Shared/Library/FontAgent%20Pro"},
      {"empty array", Array::Create(), "(\n)"},
      {"empty dictionary", Dictionary::Create(), "{\n}"},
      {"quoting and escapes", plain,
       "(\n"
       "    a,\n"
       "    b-c_d$e.f/g:h,\n"
       "    \"\",\n"
       "    \"two words\",\n"
       "    \"say \\\"hi\\\"\",\n"
       "    \"back\\\\slash\",\n"
       "    \"line\\nbreak\\ttab\",\n"
       "    \"caf\\U00e9\",\n"
       "    \"\\Ud83d\\Ude00\",\n"
       "    \"\\001\",\n"
       "    1,\n"
       "    0,\n"
       "    file:///Library/FontAgent%20Pro/FontAgent.db\n"
       ")"},
      {"sorted keys and nesting", set,
       "{\n"
       "    Children =     (\n"
       "                {\n"
       "            kQBFontInfoFontFormat = true;\n"
       "            kQBFontInfoPostScriptName = Helvetica;\n"
       "        }\n"
       "    );\n"
       "    Fonts =     (\n"
       "    );\n"
       "    HasParents = 1;\n"
       "    SetName = \"My Set\";\n"
       "    empty =     {\n"
       "    };\n"
       "}"},
  };
  for (const Case& c : cases)
    EXPECT_EQ(Describe(c.object.get()), c.expected) << c.name;
}

TEST(DescribeTest, CyclesAndDeepNestingPrintFinitely) {
  Ref<Dictionary> set = Dictionary::Create();
  Ref<Array> children = Array::Create();
  children->Append(set);
  set->Set("Children", children);
  EXPECT_EQ(Describe(set.get()),
            "{\n"
            "    Children =     (\n"
            "        {...}\n"
            "    );\n"
            "}");
  // The same object twice side by side is no cycle and prints in full.
  Ref<Array> twice = Array::Create();
  Ref<Array> inner = Array::Create();
  inner->Append(MakeString("x"));
  twice->Append(inner);
  twice->Append(inner);
  // Nesting too deep for recursion is elided, not followed.
  Ref<Array> deep = Array::Create();
  for (int i = 0; i < 100000; ++i) {
    Ref<Array> outer = Array::Create();
    outer->Append(deep);
    deep = outer;
  }
  EXPECT_NE(Describe(deep.get()).find("(...)"), std::string::npos);
  EXPECT_EQ(Describe(twice.get()),
            "(\n"
            "        (\n"
            "        x\n"
            "    ),\n"
            "        (\n"
            "        x\n"
            "    )\n"
            ")");
}

TEST(DescribeTest, ShowAndLogLinesShareTheSinkInOrder) {
  std::string captured;
  int writes = 0;
  hookwright::LogSink previous = hookwright::SetLogSink([&](std::string_view bytes) {
    captured += bytes;
    ++writes;
  });
  Ref<Array> names = Array::Create();
  names->Append(MakeString("Serif"));
  hkwprintf("[QB] Unknown Font Format: %@\n", MakeString("(XX)"));
  CFShow(names);
  CFShow(static_cast<const Object*>(nullptr));
  hkwprintf("[QB] Parent %@:%@ Child\n", names, Boolean::True());
  hookwright::SetLogSink(previous);

  EXPECT_EQ(captured,
            "[QB] Unknown Font Format: (XX)\n"
            "(\n    Serif\n)\n"
            "(null)\n"
            "[QB] Parent (\n    Serif\n):1 Child\n");
  EXPECT_EQ(writes, 4);
}

}  // namespace
}  // namespace cf
