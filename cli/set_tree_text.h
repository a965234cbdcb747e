// The published set tree as `qbfa sets` prints it.
#ifndef CLI_SET_TREE_TEXT_H_
#define CLI_SET_TREE_TEXT_H_

#include <string>

#include "platform/values.h"

// A readable outline: one line per set ("+ name"), its child sets and then
// its fonts ("- name (format)  path") indented four spaces below it. Anything
// that is not what a set tree holds is shown as such instead of skipped.
std::string SetTreeText(const cf::Object* tree);

// Any property list as indented JSON: dictionaries as objects in their own
// key order, arrays, strings, booleans; a URL as its file:// string.
std::string PropertyListJson(const cf::Object* value);

#endif  // CLI_SET_TREE_TEXT_H_
