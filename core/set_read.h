// One read of the set tree from the font manager's database: connect, read,
// close. The plug-in's start-up, the refresh after a front switch and
// `qbfa read` all read through here; what sets them apart is the plan.
#ifndef CORE_SET_READ_H_
#define CORE_SET_READ_H_

#include <optional>

#include "core/connection.h"
#include "platform/clock.h"
#include "platform/values.h"

namespace qbfa {

struct SetReadPlan {
  // Where the database is, and whether it is watched.
  const DatabaseSource* source = &SearchedDatabase();
  // The log switch for this read and what follows it, set before anything
  // is logged; nothing keeps the switch as it is.
  std::optional<bool> log_switch;
  // A connect that succeeds without opening the file (a path too long to
  // hand over) still lets the set reader try to connect itself, as start-up
  // does; otherwise the read ends there, as a refresh does.
  bool read_without_connection = true;
  // Start-up times the read: when set, the moment it began, after the connect.
  AbsoluteTime* read_start = nullptr;
};

struct SetRead {
  // The connect's status; the read is made only after a connect that gave 0.
  OSStatus status = noErr;
  // The set tree; null when nothing was read or no set was accepted.
  cf::Ref<cf::Array> sets;
};

// Closes a connection an earlier failed connect left open, connects through
// the plan's source, reads the set tree and closes the database again. A
// failed connect leaves `db` as the connect left it (possibly open), for the
// next read to close.
SetRead ReadFontSets(const SetReadPlan& plan);

}  // namespace qbfa

#endif  // CORE_SET_READ_H_
