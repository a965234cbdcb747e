// Font paths as a row stores them: a leading tilde expanded to a home folder,
// looked up once for a whole read.
#ifndef READER_FONT_PATHS_H_
#define READER_FONT_PATHS_H_

#include <string>
#include <string_view>

#include "platform/home.h"

// While one lives, the font paths of the rows converted expand to a home
// folder looked up once, for all of them, rather than once a path: a read of
// the font sets holds one, and no home changes in the middle of a read.
// Without one, each path looks its home up. Used on the thread that reads.
class OneHomePerRead {
 public:
  OneHomePerRead();
  ~OneHomePerRead();
  OneHomePerRead(const OneHomePerRead&) = delete;
  OneHomePerRead& operator=(const OneHomePerRead&) = delete;

 private:
  friend bool AppendExpandedFontPath(std::string_view path, std::string* out);
  TildeExpander expander_;
  OneHomePerRead* outer_;
};

// Appends the text the font path `path` (UTF-8, with a leading tilde) is
// stored as to `*out` and says true; appends nothing and says false when the
// path is stored as it is: a tilde that names no home, or a home that is not
// UTF-8.
bool AppendExpandedFontPath(std::string_view path, std::string* out);

#endif  // READER_FONT_PATHS_H_
