#include "tests/support/sample_library.h"
#include "tests/support/file_text.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "platform/values.h"
#include "platform/xml.h"
#include "tests/reader/qbfa_process.h"

namespace {

// The set tree the plug-in reads from a version, by set name: what each
// top-level set holds, one line per child set ("+ name") and font.
std::map<std::string, std::vector<std::string>> TopLevelSets(int version) {
  qbfa_test::CommandResult read =
      qbfa_test::RunQbfa({"read", qbfa_test::BundledSamplePath(version)});
  EXPECT_EQ(read.exit_code, 0) << read.err;
  cf::Ref<cf::Object> tree = CFPropertyListCreateFromXMLData(read.out);
  std::map<std::string, std::vector<std::string>> sets;
  for (const cf::Ref<cf::Object>& set : *tree->AsArray()) {
    std::vector<std::string>& lines =
        sets[std::string(set->AsDictionary()->GetString("SetName")->utf8())];
    if (const cf::Array* children = set->AsDictionary()->GetArray("Children")) {
      for (const cf::Ref<cf::Object>& child : *children)
        lines.push_back("+ " + std::string(child->AsDictionary()->GetString("SetName")->utf8()));
    }
    if (const cf::Array* fonts = set->AsDictionary()->GetArray("Fonts")) {
      for (const cf::Ref<cf::Object>& font : *fonts)
        lines.emplace_back(font->AsDictionary()->GetString("kQBFontInfoPostScriptName")->utf8());
    }
  }
  return sets;
}

TEST(SampleLibrary, BundledFilesAreWhatTheGeneratorWrites) {
  for (int version : {1, 2}) {
    SCOPED_TRACE(version);
    sqlite2::writer::Database db;
    ASSERT_TRUE(qbfa_test::BuildSampleLibrary(version, &db).ok());
    std::vector<uint8_t> expected = db.Bytes();
    std::ifstream file(qbfa_test::BundledSamplePath(version), std::ios::binary);
    std::vector<uint8_t> bundled{std::istreambuf_iterator<char>(file), {}};
    // Regenerate with: make_sample_library sample
    EXPECT_TRUE(bundled == expected) << qbfa_test::BundledSamplePath(version) << " is out of date";
  }
}

TEST(SampleLibrary, PublishesItsVisibleSetsAndChangesAsDescribed) {
  auto first = TopLevelSets(1);
  auto second = TopLevelSets(2);
  std::vector<std::string> names;
  for (const auto& [name, lines] : first)
    names.push_back(name);
  // No hidden "__" set, no "Last Import", no empty "Wish List"; the sets
  // filed under others only below them.
  EXPECT_EQ(names, (std::vector<std::string>{"Body Text", "Client Work", "Code", "Headlines",
                                             "Print Archive", "Web"}));
  EXPECT_EQ(first["Client Work"],
            (std::vector<std::string>{"+ Harbor Coffee Co.", "+ Northwind Books"}));

  auto moved = first;
  std::erase(moved["Web"], "Kestrel Slab Regular");
  moved["Code"].push_back("Kestrel Slab Regular");
  moved["Spring Campaign"] = {"Juniper Rounded Bold", "Brenner Grotesk Black",
                              "Fairhaven Script Regular"};
  EXPECT_EQ(second, moved);
}

}  // namespace
