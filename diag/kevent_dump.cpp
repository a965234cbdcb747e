#include "diag/kevent_dump.h"

#include <span>
#include <string>

#include "hookwright/hkwprintf.h"
#include "state.h"

namespace {

// Filter names, indexed by the negated filter value.
constexpr const char* filter[] = {
    "EVFILT_UNKNOWN", "EVFILT_READ",   "EVFILT_WRITE", "EVFILT_AIO",      "EVFILT_VNODE",
    "EVFILT_PROC",    "EVFILT_SIGNAL", "EVFILT_TIMER", "EVFILT_MACHPORT",
};
constexpr int kLowestNamedFilter = 1 - static_cast<int>(std::size(filter));

// A bit's name, and the bits of the word that put " | " in front of it.
struct BitName {
  uint32_t bit;
  uint32_t separated_by;
  const char* text;
};

// The separator masks are fixed rather than "any name printed before": they
// include the unnamed bits 0x1000 and 0x2000, so 0x1001 prints "( | EV_ADD)".
// Log readers know the lines in this form; it stays.
constexpr BitName kFlagNames[] = {
    {EV_EOF, 0x0000, "EV_EOF"},         {EV_ERROR, 0x8000, "EV_ERROR"},
    {EV_ADD, 0xF000, "EV_ADD"},         {EV_DELETE, 0xF001, "EV_DELETE"},
    {EV_ENABLE, 0xF003, "EV_ENABLE"},   {EV_DISABLE, 0xF007, "EV_DISABLE"},
    {EV_ONESHOT, 0xF00F, "EV_ONESHOT"}, {EV_CLEAR, 0xF01F, "EV_CLEAR"},
};

// The filter flags are named as vnode notes whatever the filter.
constexpr BitName kNoteNames[] = {
    {NOTE_DELETE, 0x00, "NOTE_DELETE"}, {NOTE_WRITE, 0x01, "NOTE_WRITE"},
    {NOTE_EXTEND, 0x03, "NOTE_EXTEND"}, {NOTE_ATTRIB, 0x07, "NOTE_ATTRIB"},
    {NOTE_LINK, 0x0F, "NOTE_LINK"},     {NOTE_RENAME, 0x1F, "NOTE_RENAME"},
    {NOTE_REVOKE, 0x3F, "NOTE_REVOKE"},
};

std::string NamesOf(uint32_t word, std::span<const BitName> names) {
  std::string text;
  for (const BitName& name : names) {
    if (!(word & name.bit))
      continue;
    if (word & name.separated_by)
      text += " | ";
    text += name.text;
  }
  return text;
}

// A filter the table has no name for is shown with its value, so the line
// still tells what arrived.
std::string FilterName(int16_t value) {
  if (value <= 0 && value >= kLowestNamedFilter)
    return filter[-value];
  return hookwright::Format("EVFILT_UNKNOWN(%d)", value);
}

}  // namespace

void QBFA_PrintKEvent(const struct kevent* event) {
  if (!gLogStuff || !event)
    return;
  // ident and data are printed as "%d", as on the 32-bit layout where they
  // are 32 bits wide: the low 32 bits, signed.
  std::string line =
      hookwright::Format("\tident=%d, filter=%s,", event->ident, FilterName(event->filter));
  if (event->flags == 0) {
    line += " flags=0x0000, ";
  } else {
    line +=
        hookwright::Format(" flags=0x%04x (%s), ", event->flags, NamesOf(event->flags, kFlagNames));
  }
  line +=
      hookwright::Format("fflags=0x%08x (%s)\n", event->fflags, NamesOf(event->fflags, kNoteNames));
  line += hookwright::Format("\tdata = %d, udata = 0x%08lx\n", event->data,
                             reinterpret_cast<uintptr_t>(event->udata));
  hkwprintf("[QB] %s\n", line);
}
