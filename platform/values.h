// Property-list values: the objects the plug-in builds its set tree from.
//
// Strings, booleans, arrays, dictionaries and file URLs, shared by reference
// and freed automatically, cycles included. Each part has a file of its own
// under platform/values/:
//
//   object.h          the base of every value, Ref<T> and reference counts
//   collector.cpp     freeing, and the cycle collector
//   string.h          immutable UTF-8 text; string_run.cpp makes the strings
//                     of a row in one allocation
//   boolean.h         true and false
//   containers.h      arrays and dictionaries, and the rules every mutator
//                     of one keeps (cached hash, noted children, the
//                     collector's colours, the index)
//   slots.h           the element storage of arrays and dictionaries
//   key.h             dictionary keys, shared between dictionaries
//   dictionary_index.h  how a big dictionary finds a key
//   hash_mix.h        the mixing steps every hash of values uses
//   url.h             file URLs and their escaping
//   equal.h           deep equality
//
// Including this header brings them all.
#ifndef PLATFORM_VALUES_H_
#define PLATFORM_VALUES_H_

#include "platform/values/boolean.h"
#include "platform/values/containers.h"
#include "platform/values/equal.h"
#include "platform/values/key.h"
#include "platform/values/object.h"
#include "platform/values/string.h"
#include "platform/values/url.h"

#endif  // PLATFORM_VALUES_H_
