// The rollback journal, "<database path>-journal", and the committed state
// it stands for.
//
// A writer copies the original contents of every page it is about to
// change into the journal before it touches the database, and deletes the
// journal when it commits. A journal found while holding the shared lock
// (no live writer can hold its lock then) was left by a writer that died
// mid-transaction: the file may hold some of its new pages, and the
// committed state is the file cut back to its original size with the
// journal's pages put back. Rolling back means writing exactly that; an
// engine that never writes builds the same image in memory instead.
//
// Format 3, every integer big-endian:
//
//   offset size  field
//        0    8  magic d9 d5 05 f9 20 a1 63 d6
//        8    4  record count; 0xffffffff: as many as the journal's size holds
//       12    4  checksum seed
//       16    4  database size in pages before the transaction
//       20 1032  records: page number, the page's 1024 original bytes, and
//                the checksum word seed + page number (mod 2^32)
//
// Formats 2 (magic ending d5) and 1 (ending d4) have a 12-byte header,
// magic and original size, and 1028-byte records without a checksum, as
// many as the size holds. Format 2 is big-endian; format 1 is in the
// writing machine's order, which a library here reads as this machine's.
//
// Playback, as the 2.8 library does it: a journal too short for its header
// rolls back nothing. Otherwise the database is cut to the original size
// and the records are applied in order until the first one whose page
// number is 0, whose checksum is wrong (format 3), or that the journal ends
// inside. A record for a page beyond the original size is skipped without
// its checksum word, so the records after it are read four bytes out of
// step - the library does this, and the checksum test that follows nearly
// always ends playback there.
#ifndef SQLITE2_FORMAT_JOURNAL_H_
#define SQLITE2_FORMAT_JOURNAL_H_

#include <sys/types.h>

#include <memory>
#include <string>
#include <unordered_map>

#include "sqlite2/format/page.h"
#include "sqlite2/format/page_source.h"
#include "sqlite2/status.h"

namespace sqlite2::format {

// The database as the rollback of a hot journal would leave it, read
// through `file` and the journal without writing to either.
class JournalOverlay : public PageSource {
 public:
  // Reads the journal at `journal_path`, if there is one. `*out` stays null
  // when no journal exists, when it is too short to roll anything back, and
  // when its magic is unknown: the library refuses such a journal once with
  // "database disk image is malformed", deletes it, and from then on reads
  // the file as it is - which is what an engine that cannot delete it gives
  // every time. A journal that exists but cannot be read is "database is
  // locked", as the library reports it. `file` must outlive the overlay.
  static Status Open(const std::string& journal_path, PageSource* file,
                     std::unique_ptr<JournalOverlay>* out);
  ~JournalOverlay() override;
  JournalOverlay(const JournalOverlay&) = delete;
  JournalOverlay& operator=(const JournalOverlay&) = delete;

  // The original size.
  Status CountPages(uint32_t* count) override;
  Status ReadPage(PageNumber number, Page* out) override;
  // The file's pages in one read, with the journal's put back over them.
  Status ReadPages(PageNumber first, size_t count, Page* out) override;

  // Pages whose original contents the journal supplies.
  size_t restored_page_count() const { return records_.size(); }

 private:
  JournalOverlay(int fd, PageSource* file) : fd_(fd), file_(file) {}
  // Reads the header and records; `*hot` says whether they roll anything back.
  Status Load(off_t journal_size, bool* hot);
  // Reads the original bytes of a page from the journal at `offset`.
  Status ReadRecord(off_t offset, Page* out);

  int fd_;
  PageSource* file_;
  uint32_t original_pages_ = 0;
  // Where each restored page's original bytes are in the journal; the data
  // is read when the page is, so memory does not grow with the journal.
  std::unordered_map<PageNumber, off_t> records_;
};

}  // namespace sqlite2::format

#endif  // SQLITE2_FORMAT_JOURNAL_H_
