// Reading the table `sets` into the set tree.
#ifndef READER_SET_READER_H_
#define READER_SET_READER_H_

#include "core/connection.h"
#include "platform/values.h"

// Reads the whole set tree: connects (QBFA_ConnectToDatabase) when `db` is
// closed, reads the sets, links fonts and child sets into them, keeps the
// named top-level sets that hold fonts or children, and closes `db`. Null when nothing could be
// read or no set was accepted; possibly empty. The order is the order in which set ids were first
// accepted.
cf::Ref<cf::Array> QBFA_CopyFontSets();

// Every accepted row of `sets` as a set dictionary, by its "id" (the set
// containers map). Connects when `db` is closed and leaves it open; null
// without a connection. A failed query is logged and keeps the rows read.
cf::Ref<cf::Dictionary> QBFA_CopyFontSetContainers();

// Row callback of "SELECT * FROM sets;"; `context` is the set containers map.
// A row is accepted when it has an id and a name that neither begins with
// "__" nor is "Last Import" in any letter case. Always returns 0.
int QBFA_AddFontSetRowCallback(void* context, int columnCount, char** values, char** names);

namespace qbfa {

// The two reads above, connecting through `source` when `db` is closed.
cf::Ref<cf::Array> CopyFontSets(const DatabaseSource& source);
cf::Ref<cf::Dictionary> CopyFontSetContainers(const DatabaseSource& source);

}  // namespace qbfa

#endif  // READER_SET_READER_H_
