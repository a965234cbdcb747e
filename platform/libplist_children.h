// Walking the children of a libplist container without its iterators'
// bookkeeping at every call site.
#ifndef PLATFORM_LIBPLIST_CHILDREN_H_
#define PLATFORM_LIBPLIST_CHILDREN_H_

#include <plist/plist.h>

#include <cstdlib>

// Calls `visit(key, value)` for each child of `node`, in order: with its
// key in a dictionary, with null in an array; never for any other node.
template <typename Visit>
void ForEachChild(plist_t node, Visit visit) {
  if (plist_get_node_type(node) == PLIST_DICT) {
    plist_dict_iter entries = nullptr;
    plist_dict_new_iter(node, &entries);
    for (;;) {
      char* key = nullptr;
      plist_t value = nullptr;
      plist_dict_next_item(node, entries, &key, &value);
      if (value != nullptr)
        visit(static_cast<const char*>(key), value);
      std::free(key);
      if (value == nullptr)
        break;
    }
    std::free(entries);
  } else if (plist_get_node_type(node) == PLIST_ARRAY) {
    plist_array_iter items = nullptr;
    plist_array_new_iter(node, &items);
    for (plist_t item = nullptr; plist_array_next_item(node, items, &item), item != nullptr;)
      visit(static_cast<const char*>(nullptr), item);
    std::free(items);
  }
}

#endif  // PLATFORM_LIBPLIST_CHILDREN_H_
