#include "core/initialize.h"

#include "core/connection.h"
#include "diag/duration.h"
#include "hookwright/hkwprintf.h"
#include "platform/clock.h"
#include "platform/description.h"
#include "platform/preferences.h"
#include "reader/set_reader.h"
#include "state.h"
#include "watch/broadcast.h"

extern "C" OSStatus QBFA_Initialize(void) {
  // Read first, so that every gated line from here on, the connect's
  // included, follows the current preference.
  gLogStuff = CFPreferencesGetAppBooleanValue("Log Stuff", kQBBundleIdentifier, nullptr);

  // A failed connect may leave the database open; the next refresh closes it.
  if (OSStatus status = QBFA_ConnectToDatabase(); status != noErr)
    return status;

  AbsoluteTime start = UpTime();
  cf::Ref<cf::Array> sets = QBFA_CopyFontSets();
  // The reader closes the database itself; this only guards against a read
  // that left it open, since it stays closed between reads.
  if (db != nullptr) {
    sqlite_close(db);
    db = nullptr;
  }

  if (gLogStuff) {
    AbsoluteTime stop = UpTime();
    Nanoseconds elapsed = AbsoluteToNanoseconds(SubAbsoluteFromAbsolute(stop, start));
    // The text is made twice and the second one printed, as the plug-in has
    // always done; both are freed with their references.
    cf::Ref<cf::String> first = FormattedNanoseconds(UnsignedWideToUInt64(elapsed));
    cf::Ref<cf::String> second = FormattedNanoseconds(UnsignedWideToUInt64(elapsed));
    hkwprintf("[QB] Operation took %@\n", second);
  }

  if (!sets)
    return noErr;
  // The tree becomes the last known sets before anyone hears of it, and stays
  // so even when publishing fails: start-up has nobody to report that to.
  gLastKnownSets = sets;
  QBFA_NotificateAllOfSetChange(sets.get(), kQBSetsPasteboardName, kQBSetsUpdatedNotificationName);
  return noErr;
}
