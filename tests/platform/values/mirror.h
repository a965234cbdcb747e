// A mirror of a graph of arrays and dictionaries in plain std containers:
// tests change the mirror and the values alike, then check the values
// against it. Nothing of the value model is used to build the mirror or to
// decide what it holds.
#ifndef TESTS_PLATFORM_VALUES_MIRROR_H_
#define TESTS_PLATFORM_VALUES_MIRROR_H_

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/values.h"

namespace cf::testing_values {

// A value as the mirror holds it.
struct MirrorItem {
  enum Kind : uint8_t { kText, kTrue, kFalse, kNode } kind = kText;
  std::string text;  // kText
  int node = -1;     // kNode: the container's number
};

// An array, or a dictionary with one key per item in insertion order.
struct MirrorNode {
  bool dictionary = false;
  std::vector<std::string> keys;
  std::vector<MirrorItem> items;
};

class Mirror {
 public:
  // A new empty container; its number.
  int Add(bool dictionary);
  const MirrorNode& node(int id) const { return nodes_[id]; }

  void Append(int array, MirrorItem item);
  // Replaces the item under `key` in place, or adds it last.
  void Set(int dictionary, const std::string& key, MirrorItem item);

  // The containers reachable from `roots`, each once.
  std::vector<int> Reachable(const std::vector<int>& roots) const;
  // Which containers of `closed` (a set holding every container its members
  // hold) are equal as cf::Equal has it: the largest relation in which two
  // containers are related when they are of one kind and hold the same keys
  // or as many items, each item equal text, the same boolean or related
  // containers. Indexed by position in `closed`.
  std::vector<std::vector<bool>> Equalities(const std::vector<int>& closed) const;

 private:
  std::vector<MirrorNode> nodes_;
};

// Compares the values reached from `roots` with the mirror's containers of
// the same numbers, walking both side by side: kinds, sizes, order, keys,
// texts, booleans, and which containers are one object (the same number
// must be the same object, different numbers different objects). Records
// each container's object in `*objects`. Empty when they agree, else where
// and how they differ.
std::string CompareWithMirror(const Mirror& mirror,
                              const std::vector<std::pair<int, Object*>>& roots,
                              std::unordered_map<int, Object*>* objects);

// A fresh copy of every container in `closed` (as Mirror::Equalities has
// it), dictionaries filled in the opposite order; by number.
std::unordered_map<int, Ref<Object>> BuildFromMirror(const Mirror& mirror,
                                                     const std::vector<int>& closed);

}  // namespace cf::testing_values

#endif  // TESTS_PLATFORM_VALUES_MIRROR_H_
