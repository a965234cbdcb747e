// The module-wide state of publishing, apart from state.cpp so that code
// built without the value model can still take `db` and gLogStuff.
#include "state.h"

const char kQBBundleIdentifier[] = QBFA_BUNDLE_IDENTIFIER;
const char kQBSetsPasteboardName[] = QBFA_BUNDLE_IDENTIFIER ".pasteboard.fap";
const char kQBSetsUpdatedNotificationName[] = QBFA_BUNDLE_IDENTIFIER ".fontsetsupdated.fap";

cf::Ref<cf::Array> gLastKnownSets;
