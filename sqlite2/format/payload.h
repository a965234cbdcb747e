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
// The real library returns garbage for a chain that ends early, points at
// page 0 or past the end, or loops; a reader reports all of these as
// corrupt, and bounding the walk by the expected length also stops loops.
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

// Appends payload bytes [begin, end) of `cell` on `page` to `out`.
// Requires begin <= end <= cell.payload_size().
Status ReadPayload(Pager& pager, const BtreePage& page, const Cell& cell, uint32_t begin,
                   uint32_t end, std::string* out);

}  // namespace sqlite2::format

#endif  // SQLITE2_FORMAT_PAYLOAD_H_
