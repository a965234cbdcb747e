// Linking fonts and child sets into the sets, from the table `rel`.
#ifndef READER_RELATIONSHIPS_H_
#define READER_RELATIONSHIPS_H_

#include "platform/values.h"

// Runs "SELECT * FROM rel;" over the set containers map: fonts go into their
// parent's "Fonts", child sets into its "Children" (the same object, so later
// changes show through every parent) and their names into "ChildrenNames";
// every attached child is marked "HasParents". Does nothing without an open
// `db`; never connects.
void QBFA_ConnectItemsToContainers(cf::Dictionary* containers);

// Row callback of "SELECT * FROM rel;"; `context` is the set containers map.
// Childtype 1 is a font, 2 a set; anything else is logged and ignored.
// Always returns 0.
int QBFA_AddRelationshipCallback(void* context, int columnCount, char** values, char** names);

#endif  // READER_RELATIONSHIPS_H_
