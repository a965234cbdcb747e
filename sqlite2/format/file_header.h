// Page 1: the file header.
//
//   offset size  field
//        0   48  magic text "** This file contains an SQLite 2.1 database **"
//                followed by one NUL
//       48    4  magic integer 0xdae37528 in the writer's byte order; this is
//                how the file's byte order is learnt
//       52    4  first free-list trunk page (0 = the free list is empty)
//       56    4  number of free pages, trunk and branch pages together
//       60    4  meta 1: schema cookie, signed; changes with every CREATE/DROP
//       64    4  meta 2: schema file format, 1-4 (0 = never written, i.e. 4)
//       68   12  meta 3-5: default cache size, safety level, temp store
//       80  944  meta 6-9 and unused space, zero
//
// All integers are in the file's byte order. The free list is never needed
// for reading, but its fields are decoded for diagnostics.
#ifndef SQLITE2_FORMAT_FILE_HEADER_H_
#define SQLITE2_FORMAT_FILE_HEADER_H_

#include <cstdint>

#include "sqlite2/format/page.h"
#include "sqlite2/status.h"

namespace sqlite2::format {

// The schema format of a current file; format 0 (never written) reads as it.
inline constexpr int32_t kCurrentFileFormat = 4;

struct FileHeader {
  ByteOrder byte_order = ByteOrder::kLittleEndian;
  PageNumber free_list_trunk = 0;
  uint32_t free_page_count = 0;
  int32_t schema_cookie = 0;
  // 3 means every column compares and indexes as numeric.
  int32_t file_format = kCurrentFileFormat;

  // Decodes page 1. A database too short to hold page 1 is an empty
  // database: pass nullptr and get the defaults above. Fails with
  // NotADatabase on a wrong magic text or integer, and with "unsupported
  // file format" on a format newer than 4.
  static Status DecodeFrom(const Page* page1, FileHeader* out);
};

// Formats older than 3 are rewritten in place by the real library on open;
// an engine that never writes refuses them with the text the library gives
// when it cannot write. The library reports this only after the schema has
// loaded cleanly, so call it after reading sqlite_master.
Status RequireUpgradedFormat(const FileHeader& header);

}  // namespace sqlite2::format

#endif  // SQLITE2_FORMAT_FILE_HEADER_H_
