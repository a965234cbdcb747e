// File URLs: paths and their escaping.
#include <gtest/gtest.h>

#include "platform/values.h"

namespace cf {
namespace {

TEST(URLTest, FileURLs) {
  EXPECT_EQ(URL::CreateWithFileSystemPath("Library/FontAgent.db"), nullptr);
  EXPECT_EQ(URL::CreateWithFileSystemPath(""), nullptr);

  struct Case {
    const char* path;
    const char* component;  // Appended when not null.
    const char* expected_path;
    const char* expected_string;
  };
  const Case cases[] = {
      {"/Library", "FontAgent Pro/FontAgent.db", "/Library/FontAgent Pro/FontAgent.db",
       "file:///Library/FontAgent%20Pro/FontAgent.db"},
      {"/Library/", "x", "/Library/x", "file:///Library/x"},
      {"/", "x", "/x", "file:///x"},
      {"/", nullptr, "/", "file:///"},
      {"/a/b//", nullptr, "/a/b", "file:///a/b"},
      {"/-._~!$&'()*+,;=:@", nullptr, "/-._~!$&'()*+,;=:@", "file:///-._~!$&'()*+,;=:@"},
      {"/a#b?c%d\"e<f>g[h]^`{|}\\", nullptr, "/a#b?c%d\"e<f>g[h]^`{|}\\",
       "file:///a%23b%3Fc%25d%22e%3Cf%3Eg%5Bh%5D%5E%60%7B%7C%7D%5C"},
      {"/caf\xC3\xA9\t", nullptr, "/caf\xC3\xA9\t", "file:///caf%C3%A9%09"},
  };
  for (const Case& c : cases) {
    Ref<URL> url = URL::CreateWithFileSystemPath(c.path);
    ASSERT_NE(url, nullptr) << c.path;
    if (c.component)
      url = url->CopyAppendingPathComponent(c.component);
    EXPECT_EQ(url->path(), c.expected_path) << c.path;
    EXPECT_EQ(url->AbsoluteString(), c.expected_string) << c.path;
  }
}

}  // namespace
}  // namespace cf
