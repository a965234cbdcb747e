// The kernel event dump: one kqueue event record as readable log text.
#ifndef DIAG_KEVENT_DUMP_H_
#define DIAG_KEVENT_DUMP_H_

#include "platform/kqueue.h"

// Logs `event` (identifier, filter name, flags and vnode notes by name, data
// and user data) as two lines and an empty one, when the log switch is on.
// Reads the record only; a null record logs nothing.
void QBFA_PrintKEvent(const struct kevent* event);

#endif  // DIAG_KEVENT_DUMP_H_
