#include "sqlite2/format/payload.h"

#include <algorithm>
#include <vector>

namespace sqlite2::format {
namespace {

// Takes one page from the allowance and reads it.
Status TakePage(Pager& pager, PageNumber number, uint64_t* allowance, const Page** out) {
  if (*allowance == 0) {
    return Status::Corrupt();
  }
  --*allowance;
  return pager.GetPage(number, out);
}

// Appends what an overflow page holds of payload bytes [start, end), its
// first byte being payload byte `start`.
void AppendFrom(const Page& overflow, uint32_t start, uint32_t end, std::string* out) {
  const char* bytes = reinterpret_cast<const char*>(overflow.data()) + 4;
  out->append(bytes, std::min(end - start, kOverflowPayloadPerPage));
}

// Appends payload bytes [start, end) from a chain that has come round to
// page `first` of its loop: the loop's pages, from `first` on, over and
// over.
Status AppendLoop(Pager& pager, PageNumber first, uint32_t start, uint32_t end, uint64_t* allowance,
                  std::string* out) {
  std::vector<const Page*> loop;
  PageNumber number = first;
  do {
    const Page* overflow;
    if (Status status = pager.GetPage(number, &overflow); !status.ok()) {
      return status;
    }
    loop.push_back(overflow);
    number = Load32(overflow->data(), pager.byte_order());
    // `first` lies on the loop, so this comes back to it within as many
    // steps as the file has pages.
  } while (number != first && loop.size() < pager.page_count());
  const uint64_t pages =
      (uint64_t{end} - start + kOverflowPayloadPerPage - 1) / kOverflowPayloadPerPage;
  if (pages > *allowance) {
    *allowance = 0;
    return Status::Corrupt();
  }
  *allowance -= pages;
  for (size_t i = 0; start < end; ++i, start += kOverflowPayloadPerPage) {
    AppendFrom(*loop[i % loop.size()], start, end, out);
  }
  return Status::Ok();
}

}  // namespace

uint32_t OverflowPageCount(uint32_t payload_size) {
  if (payload_size <= kMaxLocalPayload) {
    return 0;
  }
  return (payload_size - kMaxLocalPayload + kOverflowPayloadPerPage - 1) / kOverflowPayloadPerPage;
}

Status ReadPayload(Pager& pager, const BtreePage& page, const Cell& cell, uint32_t end,
                   uint64_t* allowance, std::string* out) {
  const uint32_t local = cell.local_payload_size();
  out->append(reinterpret_cast<const char*>(page.local_payload(cell)), std::min(end, local));
  if (end <= local) {
    return Status::Ok();
  }
  // What the file can hold, not what a damaged size claims.
  const uint64_t most = (uint64_t{pager.page_count()} + 1) * kOverflowPayloadPerPage;
  out->reserve(out->size() + std::min<uint64_t>(end - local, most));

  PageNumber number = cell.overflow;
  // `start` is the payload offset of the current overflow page's first byte.
  uint32_t walked = 0;
  for (uint32_t start = local; start < end && number != 0;
       start += kOverflowPayloadPerPage, ++walked) {
    // Past as many pages as the file has, a page in the file has been
    // reached before: the chain has come round its loop.
    if (walked == pager.page_count() && number <= pager.page_count()) {
      return AppendLoop(pager, number, start, end, allowance, out);
    }
    const Page* overflow;
    if (Status status = TakePage(pager, number, allowance, &overflow); !status.ok()) {
      return status;
    }
    AppendFrom(*overflow, start, end, out);
    number = Load32(overflow->data(), pager.byte_order());
  }
  return Status::Ok();
}

}  // namespace sqlite2::format
