#include "tests/platform/values/mirror.h"

#include <algorithm>
#include <unordered_set>

namespace cf::testing_values {

int Mirror::Add(bool dictionary) {
  nodes_.push_back(MirrorNode{dictionary, {}, {}});
  return static_cast<int>(nodes_.size()) - 1;
}

void Mirror::Append(int array, MirrorItem item) {
  nodes_[array].items.push_back(std::move(item));
}

void Mirror::Set(int dictionary, const std::string& key, MirrorItem item) {
  MirrorNode& node = nodes_[dictionary];
  const auto at = std::find(node.keys.begin(), node.keys.end(), key);
  if (at != node.keys.end()) {
    node.items[at - node.keys.begin()] = std::move(item);
    return;
  }
  node.keys.push_back(key);
  node.items.push_back(std::move(item));
}

std::vector<int> Mirror::Reachable(const std::vector<int>& roots) const {
  std::vector<int> found;
  std::unordered_set<int> seen;
  std::vector<int> stack = roots;
  while (!stack.empty()) {
    const int id = stack.back();
    stack.pop_back();
    if (!seen.insert(id).second)
      continue;
    found.push_back(id);
    for (const MirrorItem& item : nodes_[id].items) {
      if (item.kind == MirrorItem::kNode)
        stack.push_back(item.node);
    }
  }
  return found;
}

std::vector<std::vector<bool>> Mirror::Equalities(const std::vector<int>& closed) const {
  std::unordered_map<int, size_t> position;
  for (size_t i = 0; i < closed.size(); ++i)
    position[closed[i]] = i;
  // Start from every pair related and take away pairs that break the rule
  // until none does: what is left is the largest such relation.
  std::vector<std::vector<bool>> equal(closed.size(), std::vector<bool>(closed.size(), true));
  auto items_equal = [&](const MirrorItem& a, const MirrorItem& b) {
    if (a.kind != b.kind)
      return false;
    if (a.kind == MirrorItem::kText)
      return a.text == b.text;
    if (a.kind == MirrorItem::kNode)
      return static_cast<bool>(equal[position.at(a.node)][position.at(b.node)]);
    return true;
  };
  auto pair_holds = [&](const MirrorNode& a, const MirrorNode& b) {
    if (a.dictionary != b.dictionary || a.items.size() != b.items.size())
      return false;
    for (size_t i = 0; i < a.items.size(); ++i) {
      size_t j = i;
      if (a.dictionary) {
        const auto at = std::find(b.keys.begin(), b.keys.end(), a.keys[i]);
        if (at == b.keys.end())
          return false;
        j = at - b.keys.begin();
      }
      if (!items_equal(a.items[i], b.items[j]))
        return false;
    }
    return true;
  };
  for (bool changed = true; changed;) {
    changed = false;
    for (size_t a = 0; a < closed.size(); ++a) {
      for (size_t b = 0; b < closed.size(); ++b) {
        if (equal[a][b] && !pair_holds(nodes_[closed[a]], nodes_[closed[b]])) {
          equal[a][b] = false;
          changed = true;
        }
      }
    }
  }
  return equal;
}

namespace {

std::string Describe(int id, size_t index) {
  return "container " + std::to_string(id) + ", item " + std::to_string(index) + ": ";
}

// Compares one item; queues a container not met before.
std::string CompareItem(const MirrorItem& item, Object* value,
                        std::unordered_map<int, Object*>* objects,
                        std::unordered_map<Object*, int>* numbers,
                        std::vector<std::pair<int, Object*>>* queue) {
  switch (item.kind) {
    case MirrorItem::kText:
      if (value->AsString() == nullptr || value->AsString()->utf8() != item.text)
        return "not the text \"" + item.text + "\"";
      return {};
    case MirrorItem::kTrue:
    case MirrorItem::kFalse:
      if (value->AsBoolean() == nullptr ||
          value->AsBoolean()->value() != (item.kind == MirrorItem::kTrue))
        return "not the boolean";
      return {};
    case MirrorItem::kNode:
      break;
  }
  const auto [known, is_new] = objects->emplace(item.node, value);
  const auto [number, unnumbered] = numbers->emplace(value, item.node);
  if (known->second != value || number->second != item.node)
    return "containers " + std::to_string(item.node) + " and " + std::to_string(number->second) +
           " are not one object each";
  if (is_new)
    queue->emplace_back(item.node, value);
  return {};
}

}  // namespace

std::string CompareWithMirror(const Mirror& mirror,
                              const std::vector<std::pair<int, Object*>>& roots,
                              std::unordered_map<int, Object*>* objects) {
  objects->clear();
  std::unordered_map<Object*, int> numbers;
  std::vector<std::pair<int, Object*>> queue;
  for (const auto& [id, object] : roots) {
    std::string why =
        CompareItem(MirrorItem{MirrorItem::kNode, {}, id}, object, objects, &numbers, &queue);
    if (!why.empty())
      return "root: " + why;
  }
  while (!queue.empty()) {
    const auto [id, object] = queue.back();
    queue.pop_back();
    const MirrorNode& node = mirror.node(id);
    const Array* array = object->AsArray();
    const Dictionary* dictionary = object->AsDictionary();
    if (node.dictionary ? dictionary == nullptr : array == nullptr)
      return Describe(id, 0) + "of the wrong kind";
    const size_t size = node.dictionary ? dictionary->size() : array->size();
    if (size != node.items.size())
      return Describe(id, 0) + std::to_string(size) + " items, not " +
             std::to_string(node.items.size());
    for (size_t i = 0; i < size; ++i) {
      Object* value = nullptr;
      if (node.dictionary) {
        const Dictionary::Entry& entry = dictionary->begin()[i];
        if (entry.key.view() != node.keys[i])
          return Describe(id, i) + "key \"" + std::string(entry.key.view()) + "\", not \"" +
                 node.keys[i] + "\"";
        value = entry.value.get();
        // Every way of looking a key up finds the entry where it is.
        if (dictionary->Get(node.keys[i]) != value || dictionary->Get(Key(node.keys[i])) != value ||
            dictionary->Get(entry.key) != value)
          return Describe(id, i) + "not found under its key \"" + node.keys[i] + "\"";
        if (dictionary->Get(node.keys[i] + "?") != nullptr)
          return Describe(id, i) + "a key it does not hold found";
      } else {
        value = array->at(i).get();
      }
      std::string why = CompareItem(node.items[i], value, objects, &numbers, &queue);
      if (!why.empty())
        return Describe(id, i) + why;
    }
  }
  return {};
}

std::unordered_map<int, Ref<Object>> BuildFromMirror(const Mirror& mirror,
                                                     const std::vector<int>& closed) {
  std::unordered_map<int, Ref<Object>> made;
  for (int id : closed) {
    if (mirror.node(id).dictionary)
      made[id] = Dictionary::Create();
    else
      made[id] = Array::Create();
  }
  auto value_of = [&made](const MirrorItem& item) -> Ref<Object> {
    switch (item.kind) {
      case MirrorItem::kText:
        return MakeString(item.text);
      case MirrorItem::kTrue:
        return Boolean::True();
      case MirrorItem::kFalse:
        return Boolean::False();
      case MirrorItem::kNode:
        break;
    }
    return made.at(item.node);
  };
  for (int id : closed) {
    const MirrorNode& node = mirror.node(id);
    if (node.dictionary) {
      for (size_t i = node.items.size(); i-- > 0;)
        made[id]->AsDictionary()->Set(node.keys[i], value_of(node.items[i]));
    } else {
      for (const MirrorItem& item : node.items)
        made[id]->AsArray()->Append(value_of(item));
    }
  }
  return made;
}

}  // namespace cf::testing_values
