#include "watch/refresh.h"

#include <cassert>

#include "core/set_read.h"
#include "hookwright/hkwprintf.h"
#include "hookwright/main_thread.h"
#include "state.h"
#include "watch/broadcast.h"

void* QBFA_CheckDatabaseForUpdatedSets(void* /*parameter*/) {
  // Everything this touches belongs to the main thread; the watcher task
  // reaches it only through the blocking remote call.
  assert(hookwright::IsMainThread());
  // Installed at the first change rather than at start-up: until the file
  // changes, a switch has nothing to do.
  static bool installedEvent = false;
  if (!installedEvent) {
    if (gLogStuff)
      hkwprintf("[QB] Installing event handler.\n");
    const EventTypeSpec frontSwitched = {kEventClassApplication, kEventAppFrontSwitched};
    if (InstallEventHandler(GetApplicationEventTarget(), QBFA_FrontSwitchedHandler, 1,
                            &frontSwitched, nullptr, nullptr) == noErr) {
      installedEvent = true;
    }
  }
  gShouldUpdateSets = true;
  return nullptr;
}

OSStatus QBFA_FrontSwitchedHandler(EventHandlerCallRef /*call*/, EventRef /*event*/,
                                   void* /*userData*/) {
  assert(hookwright::IsMainThread());
  if (!gShouldUpdateSets)
    return noErr;
  // Cleared before the work: a refresh that fails is not retried at the next
  // switch, only after the next change of the file.
  gShouldUpdateSets = false;
  if (gLogStuff)
    hkwprintf("[QB] Updating font sets\n");
  // Closes first what a connect that failed after opening the file left
  // open; the reader closes the connection again, whatever it finds.
  qbfa::SetReadPlan plan;
  plan.read_without_connection = false;
  qbfa::SetRead read = qbfa::ReadFontSets(plan);
  cf::Ref<cf::Array> newSets = std::move(read.sets);
  if (!newSets)
    return noErr;
  if (gLastKnownSets && cf::Equal(newSets.get(), gLastKnownSets.get())) {
    if (gLogStuff)
      hkwprintf("[QB] Old sets and new sets are equal. Bummers.\n");
    return noErr;
  }
  // Known from here on, published or not: an equal tree read later is not
  // published again even if this publication fails.
  gLastKnownSets = std::move(newSets);
  OSStatus status = QBFA_NotificateAllOfSetChange(gLastKnownSets.get(), kQBSetsPasteboardName,
                                                  kQBSetsUpdatedNotificationName);
  if (status != noErr) {
    hkwprintf(
        "[QB] Could not tell others that the sets have changed because of error %d. Darn error "
        "%d!\n",
        status, status);
  }
  return noErr;
}
