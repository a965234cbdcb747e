// Values from libplist's nodes: the bridge for the property lists that
// libplist still reads for us (the binary form).
#ifndef PLATFORM_LIBPLIST_VALUES_H_
#define PLATFORM_LIBPLIST_VALUES_H_

#include <plist/plist.h>

#include "platform/plist_limits.h"
#include "platform/values.h"

namespace cf {

// The value that `node` stands for, or null when it holds a type the value
// model lacks (numbers, dates, data among them), a key or string that is not
// well-formed UTF-8, or containers nested past kMaxPropertyListDepth.
Ref<Object> CreateValueFromPlistNode(plist_t node);

}  // namespace cf

#endif  // PLATFORM_LIBPLIST_VALUES_H_
