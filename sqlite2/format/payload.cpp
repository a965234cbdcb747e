#include "sqlite2/format/payload.h"

#include <algorithm>

namespace sqlite2::format {

uint32_t OverflowPageCount(uint32_t payload_size) {
  if (payload_size <= kMaxLocalPayload) {
    return 0;
  }
  return (payload_size - kMaxLocalPayload + kOverflowPayloadPerPage - 1) / kOverflowPayloadPerPage;
}

Status ReadPayload(Pager& pager, const BtreePage& page, const Cell& cell, uint32_t begin,
                   uint32_t end, std::string* out) {
  const uint32_t local = cell.local_payload_size();
  if (begin < local) {
    const char* bytes = reinterpret_cast<const char*>(page.local_payload(cell));
    out->append(bytes + begin, std::min(end, local) - begin);
  }
  if (end <= local) {
    return Status::Ok();
  }

  // Every page of the chain is a distinct page of the file, so a chain
  // longer than the file is damage; checking this first also keeps the
  // allocation below bounded by the file's size.
  const uint32_t chain_length = OverflowPageCount(cell.payload_size());
  if (chain_length > pager.page_count()) {
    return Status::Corrupt();
  }
  out->reserve(out->size() + (end - std::max(begin, local)));

  PageNumber number = cell.overflow;
  // `start` is the payload offset of the current overflow page's first byte.
  for (uint32_t start = local; start < end; start += kOverflowPayloadPerPage) {
    if (number == 0 || number > pager.page_count()) {
      return Status::Corrupt();
    }
    const Page* overflow;
    Status status = pager.GetPage(number, &overflow);
    if (!status.ok()) {
      return status;
    }
    const uint32_t from = std::max(begin, start);
    const uint32_t to = std::min(end, start + kOverflowPayloadPerPage);
    if (from < to) {
      const char* bytes = reinterpret_cast<const char*>(overflow->data()) + 4;
      out->append(bytes + (from - start), to - from);
    }
    number = Load32(overflow->data(), pager.byte_order());
  }
  // A chain read to its end must end there.
  if (end == cell.payload_size() && number != 0) {
    return Status::Corrupt();
  }
  return Status::Ok();
}

}  // namespace sqlite2::format
