// Reading a cell's payload, following its overflow chain.
//
// The payload is one byte string, key first and data after it; the split
// may fall anywhere, even inside the key. Its first 236 bytes are in the
// cell; each overflow page then adds up to 1020 bytes:
//
//   offset size  field
//        0    4  next overflow page (0 = last), in the file's byte order
//        4 1020  the next payload bytes; the last page's tail is junk
//
// A payload of P bytes needs exactly ceil((P - 236) / 1020) overflow pages.
//
// The library walks the chain for as long as bytes are wanted and checks
// nothing on the way: page 0 ends the chain, a page past the end of the
// file reads as zeros (and ends it too, its "next" being 0), any page in
// the file gives its bytes, whatever it really holds, and the chain may
// end early, run on past the payload or loop. Bytes a chain ends without
// are what the library's buffer happened to hold; here they are missing,
// and whoever decodes the payload takes them as zeros.
#ifndef SQLITE2_FORMAT_PAYLOAD_H_
#define SQLITE2_FORMAT_PAYLOAD_H_

#include <cstdint>
#include <string>

#include "sqlite2/format/btree_page.h"
#include "sqlite2/format/pager.h"
#include "sqlite2/status.h"

namespace sqlite2::format {

inline constexpr uint32_t kOverflowPayloadPerPage = kPageSize - 4;

// Overflow pages a payload of `payload_size` bytes needs.
uint32_t OverflowPageCount(uint32_t payload_size);

// Appends payload bytes [0, end) of `cell` on `page` to `out`, as far as
// the cell and its chain hold them: fewer when the chain ends early. Each
// overflow page read, a loop's pages every time round, takes one from
// `*allowance`; corrupt when that runs out. The walk never follows more
// pointers than the file has pages: a chain longer than that can only be
// going round a loop, whose pages are then read again in turn.
Status ReadPayload(Pager& pager, const BtreePage& page, const Cell& cell, uint32_t end,
                   uint64_t* allowance, std::string* out);

}  // namespace sqlite2::format

#endif  // SQLITE2_FORMAT_PAYLOAD_H_
