// Arrays and dictionaries changed in every way the value model offers -
// nested, shared, moved into one another, in cycles made and broken, with
// strings made alone and in runs - and checked after every step against a
// mirror in plain std containers: content and order, every way of looking a
// key up, deep equality, dictionary hashes (a stale cached hash shows as a
// copy hashing otherwise), the search of arrays, and that exactly what is
// reachable stays alive.
#include <gtest/gtest.h>

#include <array>
#include <random>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "platform/values.h"
#include "tests/platform/values/mirror.h"

namespace cf {
namespace {

using testing_values::BuildFromMirror;
using testing_values::CompareWithMirror;
using testing_values::Mirror;
using testing_values::MirrorItem;

enum Step {
  kSetNew,          // Set under a key the dictionary lacks
  kSetAgain,        // Set under a key it holds: the value replaced in place
  kSetSharedKey,    // Set with a shared Key, held or not
  kAddNew,          // AddNew under a key it lacks
  kAppend,          // Append to an array
  kSetNull,         // Set and Append of null, which change nothing
  kMoveRootInside,  // a root's container stored in another, the root let go
  kCloseCycle,      // a root's container stored in one it reaches
  kCutContainer,    // a dictionary's container replaced by a text
  kDropRoot,        // a root let go, or set to a new container
  kShareRoot,       // a root set to a container reachable already
  kStepKinds
};

// Where a stored value comes from.
enum Source {
  kTextAlone,         // String::Create
  kTextOfRun,         // the first of a String::CreateRun; the rest kept aside
  kTextAside,         // a string of a run kept aside, moved or shared
  kBoolean,           // true or false
  kNewContainer,      // an array or dictionary made for it
  kReachedContainer,  // a container reachable already: shared, or a cycle
  kSourceKinds
};

struct Profile {
  const char* name;
  uint32_t seed;
  int steps;
  std::array<int, kStepKinds> step_weights;
  std::array<int, kSourceKinds> source_weights;
};

const char* const kTexts[] = {"", "a", "b", "Korvel Sans", "caf\xC3\xA9", "12345678",
                              // Size and first and last words alike: one hash.
                              "/Library/Fonts/A/Helvetica.ttf", "/Library/Fonts/B/Helvetica.ttf"};
constexpr int kKeyCount = 40;  // Past the size at which a dictionary is indexed.
constexpr size_t kRootCount = 4;
constexpr size_t kMostContainers = 40;

class MutationRun {
 public:
  explicit MutationRun(const Profile& profile)
      : random_(profile.seed),
        steps_(profile.step_weights.begin(), profile.step_weights.end()),
        sources_(profile.source_weights.begin(), profile.source_weights.end()) {
    for (int i = 0; i < kKeyCount; ++i) {
      key_texts_.push_back(std::string("k").append(std::to_string(i)));
      shared_keys_.emplace_back(key_texts_.back());
    }
    // The booleans live for good once made: make them before counting.
    Boolean::True();
    Boolean::False();
    CollectCycles();
    baseline_ = LiveObjectCount();
  }

  // Takes one step of the profile's mix, in the values and in the mirror.
  // Says which.
  std::string TakeStep() {
    if (reachable_.size() > kMostContainers)
      return Do(kDropRoot);
    return Do(static_cast<Step>(steps_(random_)));
  }

  // Empty when the values agree with the mirror in every way checked.
  std::string Check() {
    std::vector<std::pair<int, Object*>> roots;
    std::vector<int> root_ids;
    for (const Root& root : roots_) {
      if (root.object) {
        roots.emplace_back(root.id, root.object.get());
        root_ids.push_back(root.id);
      }
    }
    if (std::string why = CompareWithMirror(mirror_, roots, &objects_); !why.empty())
      return why;
    reachable_ = mirror_.Reachable(root_ids);
    if (std::string why = CheckEquality(); !why.empty())
      return why;
    return CheckLiveCount();
  }

  // Lets go of everything; true when every value made is freed.
  bool AllFreedAfterRelease() {
    roots_ = {};
    aside_.clear();
    objects_.clear();
    CollectCycles();
    return LiveObjectCount() == baseline_;
  }

 private:
  struct Root {
    int id = -1;
    Ref<Object> object;
  };
  struct Value {
    MirrorItem item;
    Ref<Object> object;
  };

  size_t Pick(size_t count) { return std::uniform_int_distribution<size_t>(0, count - 1)(random_); }

  // A container reachable from the roots, of the given kind; -1 when none.
  int PickReached(bool dictionary, const std::vector<int>& among) {
    std::vector<int> fitting;
    for (int id : among) {
      if (mirror_.node(id).dictionary == dictionary)
        fitting.push_back(id);
    }
    return fitting.empty() ? -1 : fitting[Pick(fitting.size())];
  }

  Value NewContainer() {
    const bool dictionary = Pick(2) == 0;
    const size_t room = Pick(5);
    Ref<Object> object =
        dictionary ? Ref<Object>(Dictionary::Create(room)) : Ref<Object>(Array::Create(room));
    return {MirrorItem{MirrorItem::kNode, {}, mirror_.Add(dictionary)}, object};
  }

  Value Text(std::string text, Ref<String> string) {
    return {MirrorItem{MirrorItem::kText, std::move(text), -1}, std::move(string)};
  }

  Value NewValue() {
    switch (static_cast<Source>(sources_(random_))) {
      case kTextAlone: {
        const char* text = kTexts[Pick(std::size(kTexts))];
        return Text(text, String::Create(text));
      }
      case kTextOfRun: {
        std::vector<const char*> texts(1 + Pick(5));
        for (const char*& text : texts)
          text = kTexts[Pick(std::size(kTexts))];
        std::vector<Ref<String>> strings(texts.size());
        String::CreateRun(texts, strings.data());
        for (size_t i = 1; i < texts.size(); ++i)
          aside_.emplace_back(texts[i], strings[i]);
        return Text(texts[0], strings[0]);
      }
      case kTextAside:
        if (!aside_.empty()) {
          const size_t i = Pick(aside_.size());
          Value value = Text(aside_[i].first, aside_[i].second);
          if (Pick(2) == 0)
            aside_.erase(aside_.begin() + static_cast<ptrdiff_t>(i));
          return value;
        }
        break;
      case kBoolean:
        return Pick(2) == 0 ? Value{MirrorItem{MirrorItem::kTrue, {}, -1}, Boolean::True()}
                            : Value{MirrorItem{MirrorItem::kFalse, {}, -1}, Boolean::False()};
      case kReachedContainer:
        if (!reachable_.empty()) {
          const int id = reachable_[Pick(reachable_.size())];
          return {MirrorItem{MirrorItem::kNode, {}, id}, Ref<Object>(objects_.at(id))};
        }
        break;
      case kNewContainer:
      case kSourceKinds:
        break;
    }
    return NewContainer();
  }

  // Stores `value` in the container `id`: appended, or set under a random key.
  void Store(int id, Value value) {
    if (mirror_.node(id).dictionary) {
      const std::string& key = key_texts_[Pick(kKeyCount)];
      mirror_.Set(id, key, value.item);
      objects_.at(id)->AsDictionary()->Set(key, std::move(value.object));
    } else {
      mirror_.Append(id, value.item);
      objects_.at(id)->AsArray()->Append(std::move(value.object));
    }
  }

  std::string Do(Step step) {
    const int dictionary = PickReached(true, reachable_);
    const int array = PickReached(false, reachable_);
    Root& root = roots_[Pick(kRootCount)];
    switch (step) {
      case kSetNew:
      case kAddNew:
      case kSetAgain:
      case kSetSharedKey: {
        if (dictionary < 0)
          break;
        const auto& keys = mirror_.node(dictionary).keys;
        std::vector<int> candidates;
        for (int k = 0; k < kKeyCount; ++k) {
          const bool held = std::find(keys.begin(), keys.end(), key_texts_[k]) != keys.end();
          if (step == kSetSharedKey || held == (step == kSetAgain))
            candidates.push_back(k);
        }
        if (candidates.empty())
          break;
        const int k = candidates[Pick(candidates.size())];
        Value value = NewValue();
        mirror_.Set(dictionary, key_texts_[k], value.item);
        Dictionary* target = objects_.at(dictionary)->AsDictionary();
        if (step == kAddNew)
          target->AddNew(Pick(2) == 0 ? shared_keys_[k] : Key(key_texts_[k]),
                         std::move(value.object));
        else if (step == kSetSharedKey)
          target->Set(shared_keys_[k], std::move(value.object));
        else
          target->Set(key_texts_[k], std::move(value.object));
        break;
      }
      case kAppend:
        if (array >= 0)
          Store(array, NewValue());
        break;
      case kSetNull:
        if (dictionary >= 0) {
          objects_.at(dictionary)->AsDictionary()->Set(key_texts_[Pick(kKeyCount)], nullptr);
          objects_.at(dictionary)->AsDictionary()->Set(shared_keys_[Pick(kKeyCount)], nullptr);
        }
        if (array >= 0)
          objects_.at(array)->AsArray()->Append(nullptr);
        break;
      case kMoveRootInside:
      case kCloseCycle: {
        if (!root.object)
          break;
        const std::vector<int> within =
            step == kCloseCycle ? mirror_.Reachable({root.id}) : reachable_;
        const int into = PickReached(Pick(2) == 0, within);
        if (into < 0)
          break;
        Store(into, {MirrorItem{MirrorItem::kNode, {}, root.id}, root.object});
        if (step == kMoveRootInside)
          root = {};
        break;
      }
      case kCutContainer: {
        if (dictionary < 0)
          break;
        const auto& node = mirror_.node(dictionary);
        for (size_t i = 0; i < node.items.size(); ++i) {
          if (node.items[i].kind == MirrorItem::kNode) {
            const std::string key = node.keys[i];
            Value text = Text("cut", String::Create("cut"));
            mirror_.Set(dictionary, key, text.item);
            objects_.at(dictionary)->AsDictionary()->Set(key, std::move(text.object));
            break;
          }
        }
        break;
      }
      case kDropRoot:
        root = {};
        if (Pick(2) == 0) {
          Value fresh = NewContainer();
          root = {fresh.item.node, std::move(fresh.object)};
        }
        break;
      case kShareRoot:
        if (!reachable_.empty()) {
          const int id = reachable_[Pick(reachable_.size())];
          root = {id, Ref<Object>(objects_.at(id))};
        }
        break;
      case kStepKinds:
        break;
    }
    return std::to_string(step);
  }

  // Equal() and Hash() against the mirror's equalities; every container
  // against a fresh copy of itself; ContainsValue against the mirror.
  std::string CheckEquality() {
    const std::vector<std::vector<bool>> equal = mirror_.Equalities(reachable_);
    std::unordered_map<int, Ref<Object>> copies = BuildFromMirror(mirror_, reachable_);
    const size_t count = reachable_.size();
    for (size_t a = 0; a < count; ++a) {
      Object* object = objects_.at(reachable_[a]);
      const std::string which = "container " + std::to_string(reachable_[a]);
      for (size_t b = 0; b < count; ++b) {
        Object* other = objects_.at(reachable_[b]);
        if (Equal(object, other) != equal[a][b])
          return which + " and " + std::to_string(reachable_[b]) + ": Equal() says otherwise";
        if (equal[a][b] && object->AsDictionary() &&
            object->AsDictionary()->Hash() != other->AsDictionary()->Hash())
          return which + " and " + std::to_string(reachable_[b]) + ": equal, hashed apart";
      }
      Object* copy = copies.at(reachable_[a]).get();
      if (!Equal(object, copy) || !Equal(copy, object))
        return which + ": unequal to a copy";
      if (object->AsDictionary() && object->AsDictionary()->Hash() != copy->AsDictionary()->Hash())
        return which + ": hashed otherwise than a copy";
      if (const Array* array = object->AsArray()) {
        const size_t sought = Pick(count);
        bool expected = false;
        for (const MirrorItem& item : mirror_.node(reachable_[a]).items) {
          if (item.kind == MirrorItem::kNode)
            expected = expected || equal[PositionOf(item.node)][sought];
        }
        if (array->ContainsValue(copies.at(reachable_[sought]).get()) != expected)
          return which + ": ContainsValue says otherwise";
      }
    }
    return {};
  }

  size_t PositionOf(int id) const {
    return std::find(reachable_.begin(), reachable_.end(), id) - reachable_.begin();
  }

  // What is alive is exactly the containers reached, the strings they hold
  // and the strings kept aside.
  std::string CheckLiveCount() {
    std::unordered_set<const Object*> alive;
    for (const auto& [id, object] : objects_) {
      alive.insert(object);
      auto note = [&alive](const Object* value) {
        if (value->AsString())
          alive.insert(value);
      };
      if (const Array* array = object->AsArray()) {
        for (const Ref<Object>& item : *array)
          note(item.get());
      } else {
        for (const Dictionary::Entry& entry : *object->AsDictionary())
          note(entry.value.get());
      }
    }
    for (const auto& [text, string] : aside_)
      alive.insert(string.get());
    CollectCycles();
    if (LiveObjectCount() - baseline_ != alive.size())
      return std::to_string(LiveObjectCount() - baseline_) + " values alive, " +
             std::to_string(alive.size()) + " reachable";
    return {};
  }

  std::mt19937 random_;
  std::discrete_distribution<int> steps_;
  std::discrete_distribution<int> sources_;
  std::vector<std::string> key_texts_;
  std::vector<Key> shared_keys_;
  Mirror mirror_;
  std::array<Root, kRootCount> roots_;
  std::vector<std::pair<std::string, Ref<String>>> aside_;
  std::unordered_map<int, Object*> objects_;
  std::vector<int> reachable_;
  size_t baseline_ = 0;
};

TEST(ContainerMutationTest, AgreesWithAMirrorAfterEveryStep) {
  // Weights of: set new, set again, set with a shared key, add new, append,
  // null, move a root inside, close a cycle, cut a container, drop a root,
  // share a root.
  // And of: text alone, text of a run, text kept aside, boolean, new
  // container, container reached already.
  const Profile profiles[] = {
      {"every change alike", 1, 400, {4, 3, 2, 2, 4, 1, 1, 1, 1, 1, 1}, {2, 2, 1, 1, 2, 2}},
      {"wide dictionaries, indexed", 2, 400, {8, 4, 4, 6, 1, 1, 0, 0, 1, 1, 0}, {3, 3, 1, 1, 1, 1}},
      {"cycles made and broken", 3, 400, {2, 2, 1, 1, 2, 0, 4, 4, 4, 3, 3}, {1, 1, 0, 1, 2, 4}},
      {"strings of runs everywhere", 4, 300, {3, 2, 2, 2, 3, 0, 1, 1, 1, 2, 1}, {0, 4, 6, 0, 1, 1}},
  };
  for (const Profile& profile : profiles) {
    SCOPED_TRACE(profile.name);
    MutationRun run(profile);
    ASSERT_EQ(run.Check(), "");
    for (int i = 0; i < profile.steps; ++i) {
      const std::string step = run.TakeStep();
      ASSERT_EQ(run.Check(), "") << "after step " << i << " (kind " << step << ")";
    }
    EXPECT_TRUE(run.AllFreedAfterRelease());
  }
}

}  // namespace
}  // namespace cf
