// Where page images come from. The B-tree code reads pages only through
// this interface (via the Pager), so that a hot journal can be overlaid on
// the file in memory without the B-tree code knowing.
#ifndef SQLITE2_FORMAT_PAGE_SOURCE_H_
#define SQLITE2_FORMAT_PAGE_SOURCE_H_

#include <memory>
#include <string>

#include "sqlite2/format/page.h"
#include "sqlite2/status.h"

namespace sqlite2::format {

class PageSource {
 public:
  virtual ~PageSource() = default;

  // The number of whole pages the database has right now.
  virtual Status CountPages(uint32_t* count) = 0;
  // Reads page `number` (>= 1) into `out`. A page beyond the end, or the
  // missing tail of a partial last page, reads as zero bytes.
  virtual Status ReadPage(PageNumber number, Page* out) = 0;
  // Reads the `count` pages from `first` on into `out[0]` to
  // `out[count - 1]`, each as ReadPage() would; a failure may leave any of
  // them written. Unless a source knows better, one page after another.
  virtual Status ReadPages(PageNumber first, size_t count, Page* out);
};

// The database file itself, opened read-only: nothing here ever creates,
// writes or truncates a file.
class FilePageSource : public PageSource {
 public:
  // Fails with CantOpen when the path cannot be opened (it is never
  // created) and with IoError when it names a directory.
  static Status Open(const std::string& path, std::unique_ptr<FilePageSource>* out);
  ~FilePageSource() override;
  FilePageSource(const FilePageSource&) = delete;
  FilePageSource& operator=(const FilePageSource&) = delete;

  Status CountPages(uint32_t* count) override;
  Status ReadPage(PageNumber number, Page* out) override;
  // One read for all of them: consecutive pages are consecutive bytes.
  Status ReadPages(PageNumber first, size_t count, Page* out) override;

  // The open descriptor, for taking file locks on it. Closing any other
  // descriptor of the same file would drop this process's locks.
  int fd() const { return fd_; }

 private:
  explicit FilePageSource(int fd) : fd_(fd) {}
  int fd_;
};

}  // namespace sqlite2::format

#endif  // SQLITE2_FORMAT_PAGE_SOURCE_H_
