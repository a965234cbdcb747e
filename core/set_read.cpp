#include "core/set_read.h"

#include "reader/set_reader.h"
#include "state.h"

namespace qbfa {

namespace {

void CloseDatabase() {
  if (db != nullptr)
    sqlite_close(db);
  db = nullptr;
}

}  // namespace

SetRead ReadFontSets(const SetReadPlan& plan) {
  // First, so that every gated line from here on, the connect's included,
  // follows the switch.
  if (plan.log_switch)
    gLogStuff = *plan.log_switch;
  CloseDatabase();
  SetRead read;
  read.status = ConnectToDatabase(*plan.source);
  if (read.status != noErr || (db == nullptr && !plan.read_without_connection))
    return read;
  if (plan.read_start != nullptr)
    *plan.read_start = UpTime();
  read.sets = CopyFontSets(*plan.source);
  // The reader closes the database itself; this only guards against a read
  // that left it open, since it stays closed between reads.
  CloseDatabase();
  return read;
}

}  // namespace qbfa
