#include "core/initialize.h"

#include "core/set_read.h"
#include "diag/duration.h"
#include "hookwright/hkwprintf.h"
#include "platform/clock.h"
#include "platform/description.h"
#include "platform/preferences.h"
#include "state.h"
#include "watch/broadcast.h"

extern "C" OSStatus QBFA_Initialize(void) {
  AbsoluteTime start{};
  qbfa::SetReadPlan plan;
  plan.log_switch = CFPreferencesGetAppBooleanValue("Log Stuff", kQBBundleIdentifier, nullptr);
  plan.read_start = &start;
  qbfa::SetRead read = qbfa::ReadFontSets(plan);
  if (read.status != noErr)
    return read.status;
  cf::Ref<cf::Array> sets = std::move(read.sets);

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
