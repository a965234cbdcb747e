#include "platform/values.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "platform/utf8.h"

namespace cf {
namespace {

size_t live_objects = 0;

bool IsContainer(const Object* object) {
  return object->type() == TypeID::kArray || object->type() == TypeID::kDictionary;
}

}  // namespace

// Reference counting with synchronous cycle collection (trial deletion after
// Bacon and Rajan). Only arrays and dictionaries can close a cycle, so only
// they become candidates, and only once they hold one of their kind (see
// Release); strings, booleans and URLs are freed at zero at once.
//
// Freeing a container is iterative: a release that drops its last reference
// queues it, and the outermost release drains the queue, so a long chain of
// nested containers never deepens the stack. Collection runs only from that
// outermost point, never while an object is half torn down. Any other value
// holds nothing, so it is freed on the spot, queue or no queue: the strings
// of a row go as the row does, one call each.
class CycleCollector {
 public:
  static CycleCollector& Get() {
    // Never destroyed: references held by other static objects are released
    // during exit, after any destructor of ours would have run.
    static CycleCollector* collector = new CycleCollector;
    return *collector;
  }

  void Release(Object* object) {
    if (object->color_ == kCollecting) {
      // Part of a garbage cycle being torn down; the collector frees it.
      --object->count_;
      return;
    }
    if (--object->count_ == 0) {
      if (!IsContainer(object)) {
        Free(object);
        return;
      }
      pending_.push_back(object);
    } else if (object->holds_container_) {
      // A garbage cycle is cut off from the rest by a decrement that lands
      // on one of its members and leaves it above zero; at that moment each
      // member holds the next one, a container. So a container that has
      // never held one is in no cycle yet, and should it join one later, the
      // decrement that cuts that cycle off lands on a member holding a
      // container then. Rows of plain values, most of a set tree, are thus
      // never buffered.
      PossibleRoot(object);
    }
    if (busy_)
      return;
    busy_ = true;
    Drain();
    if (roots_.size() >= threshold_) {
      Collect();
    } else if (dead_roots_ >= kMinimumThreshold && 2 * dead_roots_ >= roots_.size()) {
      FreeDeadRoots();
    }
    busy_ = false;
  }

  void CollectNow() {
    if (busy_)
      return;
    busy_ = true;
    Collect();
    busy_ = false;
  }

 private:
  static constexpr uint8_t kBlack = Object::kBlack, kGray = Object::kGray, kWhite = Object::kWhite,
                           kPurple = Object::kPurple, kCollecting = Object::kCollecting;
  static constexpr size_t kMinimumThreshold = 1024;

  void PossibleRoot(Object* object) {
    object->color_ = kPurple;
    if (object->buffered_)
      return;
    object->buffered_ = true;
    roots_.push_back(object);
    if (!exit_hook_installed_) {
      exit_hook_installed_ = true;
      std::atexit([] { CollectCycles(); });
    }
  }

  // Frees everything queued, including what each free releases in turn.
  void Drain() {
    while (!pending_.empty()) {
      Object* object = pending_.back();
      pending_.pop_back();
      if (object->buffered_) {
        // Still listed as a candidate: let go of its children now, free the
        // object itself when the candidate list is next walked.
        object->color_ = kBlack;
        object->DropChildren();
        ++dead_roots_;
      } else {
        Free(object);
      }
    }
  }

  static void Free(Object* object) {
    --live_objects;
    delete object;
  }

  template <class Visit>
  static void ForEachContainerChild(Object* object, Visit visit) {
    object->ForEachChild(
        [](Object* child, void* context) {
          if (IsContainer(child))
            (*static_cast<Visit*>(context))(child);
        },
        &visit);
  }

  // Frees the candidates that died while listed. They are shells whose
  // children are gone, so no trial deletion is needed, only a walk of the
  // list; without it the shells of every tree a long-running process drops
  // would wait for the next collection, which a large live tree puts off.
  void FreeDeadRoots() {
    std::erase_if(roots_, [](Object* root) {
      if (root->count_ != 0)
        return false;
      Free(root);
      return true;
    });
    dead_roots_ = 0;
  }

  void Collect() {
    dead_roots_ = 0;
    MarkRoots();
    for (Object* root : roots_)
      Scan(root);
    CollectRoots();
    Drain();
    // Collect again once at least as many candidates gathered as this round
    // had to look at, so the work stays proportional to what is released.
    threshold_ = std::max(kMinimumThreshold, traversed_);
    traversed_ = 0;
  }

  void MarkRoots() {
    std::vector<Object*> kept;
    for (Object* root : roots_) {
      if (root->color_ == kPurple) {
        MarkGray(root);
        kept.push_back(root);
        continue;
      }
      root->buffered_ = false;
      if (root->color_ == kBlack && root->count_ == 0)
        Free(root);
    }
    roots_ = std::move(kept);
  }

  // Subtracts the references that come from inside the subgraph.
  void MarkGray(Object* start) {
    if (start->color_ == kGray)
      return;
    start->color_ = kGray;
    stack_.push_back(start);
    while (!stack_.empty()) {
      Object* object = stack_.back();
      stack_.pop_back();
      ++traversed_;
      ForEachContainerChild(object, [this](Object* child) {
        --child->count_;
        if (child->color_ != kGray) {
          child->color_ = kGray;
          stack_.push_back(child);
        }
      });
    }
  }

  // Whatever still has references from outside is alive, and so is
  // everything it reaches; the rest turns white.
  void Scan(Object* start) {
    stack_.push_back(start);
    while (!stack_.empty()) {
      Object* object = stack_.back();
      stack_.pop_back();
      if (object->color_ != kGray)
        continue;
      if (object->count_ > 0) {
        ScanBlack(object);
        continue;
      }
      object->color_ = kWhite;
      ForEachContainerChild(object, [this](Object* child) { stack_.push_back(child); });
    }
  }

  void ScanBlack(Object* start) {
    std::vector<Object*> stack{start};
    start->color_ = kBlack;
    while (!stack.empty()) {
      Object* object = stack.back();
      stack.pop_back();
      ForEachContainerChild(object, [&stack](Object* child) {
        ++child->count_;
        if (child->color_ != kBlack) {
          child->color_ = kBlack;
          stack.push_back(child);
        }
      });
    }
  }

  void CollectRoots() {
    std::vector<Object*> roots = std::exchange(roots_, {});
    for (Object* root : roots)
      root->buffered_ = false;
    std::vector<Object*> garbage;
    for (Object* root : roots) {
      if (root->color_ != kWhite)
        continue;
      root->color_ = kCollecting;
      stack_.push_back(root);
      while (!stack_.empty()) {
        Object* object = stack_.back();
        stack_.pop_back();
        garbage.push_back(object);
        ForEachContainerChild(object, [this](Object* child) {
          if (child->color_ == kWhite) {
            child->color_ = kCollecting;
            stack_.push_back(child);
          }
        });
      }
    }
    // Give back the references trial deletion took away, so that dropping
    // the children below releases each of them exactly once.
    for (Object* object : garbage) {
      ForEachContainerChild(object, [](Object* child) { ++child->count_; });
    }
    for (Object* object : garbage)
      object->DropChildren();
    for (Object* object : garbage)
      Free(object);
  }

  std::vector<Object*> roots_;
  std::vector<Object*> pending_;
  std::vector<Object*> stack_;
  size_t threshold_ = kMinimumThreshold;
  // Candidates freed but for their shells, still listed in roots_.
  size_t dead_roots_ = 0;
  size_t traversed_ = 0;
  bool busy_ = false;
  bool exit_hook_installed_ = false;
};

void internal::ReleaseToCollector(Object* object) {
  CycleCollector::Get().Release(object);
}
void CollectCycles() {
  CycleCollector::Get().CollectNow();
}
size_t LiveObjectCount() {
  return live_objects;
}

// Object

void Object::ForEachChild(void (*)(Object*, void*), void*) {}

// String

Ref<String> String::Create(std::string_view utf8) {
  if (!IsWellFormedUtf8(utf8))
    return nullptr;
  void* block = ::operator new(sizeof(String) + TextBytes(utf8.size()));
  String* string = ::new (block) String(utf8.size());
  string->Fill(utf8);
  ++live_objects;
  return Ref<String>(string);
}

// A run's block starts with the count of its strings still alive; each
// string follows, the run's address in the word before it, then its text,
// padded to a word. The strings are values as any other, freed one by one;
// the block goes with the last.
class String::InRun final : public String {
 public:
  struct Run {
    size_t alive;
  };

  // The bytes a string of `size` bytes takes in a run.
  static size_t Footprint(size_t size) { return sizeof(Run*) + sizeof(String) + TextBytes(size); }

  // Places a string of `utf8` at `at`, which has Footprint() bytes, and
  // says where the next one goes.
  static String* Place(Run* run, char* at, std::string_view utf8, char** next) {
    std::memcpy(at, &run, sizeof run);
    InRun* string = ::new (at + sizeof run) InRun(utf8.size());
    string->Fill(utf8);
    *next = at + Footprint(utf8.size());
    return string;
  }

  static void operator delete(void* object) {
    Run* run;
    std::memcpy(&run, static_cast<char*>(object) - sizeof run, sizeof run);
    if (--run->alive == 0)
      ::operator delete(run);
  }

 private:
  explicit InRun(size_t size) : String(size) {}
};

void String::CreateRun(std::span<const char* const> texts, Ref<String>* strings) {
  assert(texts.size() <= kMaxRun);
  std::array<std::string_view, kMaxRun> views;
  std::copy(texts.begin(), texts.end(), views.begin());
  CreateRun(std::span<const std::string_view>(views.data(), texts.size()), strings);
}

void String::CreateRun(std::span<const std::string_view> texts, Ref<String>* strings) {
  static_assert(sizeof(InRun) == sizeof(String), "a string's text follows its String part");
  assert(texts.size() <= kMaxRun);
  uint64_t well_formed = 0;
  size_t alive = 0, bytes = sizeof(InRun::Run);
  for (size_t i = 0; i < texts.size(); ++i) {
    if (!IsWellFormedUtf8(texts[i]))
      continue;
    well_formed |= uint64_t{1} << i;
    ++alive;
    bytes += InRun::Footprint(texts[i].size());
  }
  InRun::Run* run = nullptr;
  char* at = nullptr;
  if (alive > 0) {
    run = ::new (::operator new(bytes)) InRun::Run{alive};
    at = reinterpret_cast<char*>(run + 1);
  }
  for (size_t i = 0; i < texts.size(); ++i) {
    if ((well_formed >> i & 1) == 0) {
      strings[i] = nullptr;
      continue;
    }
    ++live_objects;
    strings[i] = Ref<String>(InRun::Place(run, at, texts[i], &at));
  }
}

namespace {

// The final mix of MurmurHash3: every bit of the input reaches every bit of
// the result.
uint64_t Mix(uint64_t hash) {
  hash ^= hash >> 33;
  hash *= 0xFF51AFD7ED558CCDu;
  hash ^= hash >> 33;
  hash *= 0xC4CEB9FE1A85EC53u;
  return hash ^ (hash >> 33);
}

}  // namespace

size_t String::length() const {
  return Utf16Length(utf8());
}

// Boolean

const Ref<Boolean>& Boolean::True() {
  // Never destroyed, so a static tree released late at exit still finds it.
  static const Ref<Boolean>* value = [] {
    ++live_objects;
    return new Ref<Boolean>(new Boolean(true));
  }();
  return *value;
}

const Ref<Boolean>& Boolean::False() {
  static const Ref<Boolean>* value = [] {
    ++live_objects;
    return new Ref<Boolean>(new Boolean(false));
  }();
  return *value;
}

// Array

Ref<Array> Array::Create(size_t capacity) {
  void* block = ::operator new(sizeof(Array) + capacity * sizeof(Ref<Object>));
  ++live_objects;
  return Ref<Array>(::new (block) Array(capacity));
}

const Ref<Object>& Array::at(size_t index) const {
  if (index >= items_.size())
    throw std::out_of_range("cf::Array::at");
  return items_[index];
}

void Array::Append(Ref<Object> value) {
  if (!value)
    return;
  NoteChild(*value);
  items_.emplace_back(std::move(value));
}

bool Array::ContainsValue(const Object* value) const {
  // A dictionary - a table's row, in the arrays the reader searches - is
  // compared only with those of its hash; each keeps its hash, so the rest
  // cost a comparison of two numbers.
  const Dictionary* dictionary = value != nullptr ? value->AsDictionary() : nullptr;
  const size_t hash = dictionary != nullptr ? dictionary->Hash() : 0;
  for (const Ref<Object>& item : items_) {
    if (dictionary != nullptr) {
      const Dictionary* other = item->AsDictionary();
      if (other == nullptr || other->Hash() != hash)
        continue;
    }
    if (Equal(item.get(), value))
      return true;
  }
  return false;
}

void Array::ForEachChild(void (*visit)(Object*, void*), void* context) {
  for (const Ref<Object>& item : items_)
    visit(item.get(), context);
}

void Array::DropChildren() {
  items_.clear();
}

// Key

Key::Key(std::string_view text)
    : block_(static_cast<Block*>(::operator new(sizeof(Block) + text.size() + 1))) {
  block_->count = 1;
  block_->size = text.size();
  block_->hash = std::hash<std::string_view>()(text);
  char* out = reinterpret_cast<char*>(block_ + 1);
  std::memcpy(out, text.data(), text.size());
  out[text.size()] = '\0';
}

// Dictionary

// Finds entries by their key's text: an open-addressed table, at most half
// full, of entry positions beside their keys' hashes. A big dictionary is
// the map of every set by id, looked up once per link; a slot costs a probe
// no more than one cache line, and an entry is read only when the hashes
// agree. Keys are never removed one by one, so no slot is ever vacated.
class Dictionary::Index {
 public:
  // Adds the entry at `position`, whose key no other entry has.
  void Add(const Entry* entries, size_t position) {
    if (2 * (used_ + 1) > slots_.size())
      Rebuild(entries, position, std::max<size_t>(64, 2 * slots_.size()));
    Place(entries[position].key.hash(), position);
  }

  size_t Find(const Entry* entries, std::string_view key, size_t hash) const {
    const size_t mask = slots_.size() - 1;
    for (size_t i = hash & mask;; i = (i + 1) & mask) {
      const Slot& slot = slots_[i];
      if (slot.position == kEmpty)
        return kNowhere;
      if (slot.hash == hash && entries[slot.position].key.view() == key)
        return slot.position;
    }
  }

 private:
  static constexpr size_t kEmpty = SIZE_MAX;
  struct Slot {
    size_t hash;
    size_t position = kEmpty;
  };

  void Place(size_t hash, size_t position) {
    const size_t mask = slots_.size() - 1;
    size_t i = hash & mask;
    while (slots_[i].position != kEmpty)
      i = (i + 1) & mask;
    slots_[i] = {hash, position};
    ++used_;
  }
  // Room for `size` slots (a power of two), holding the entries before `end`.
  void Rebuild(const Entry* entries, size_t end, size_t size) {
    slots_.assign(size, Slot{});
    used_ = 0;
    for (size_t position = 0; position < end; ++position)
      Place(entries[position].key.hash(), position);
  }

  std::vector<Slot> slots_;
  size_t used_ = 0;
};

Dictionary::Dictionary(size_t capacity)
    : Object(TypeID::kDictionary), entries_(reinterpret_cast<Entry*>(this + 1), capacity) {}
Dictionary::~Dictionary() = default;

Ref<Dictionary> Dictionary::Create(size_t capacity) {
  void* block = ::operator new(sizeof(Dictionary) + capacity * sizeof(Entry));
  ++live_objects;
  return Ref<Dictionary>(::new (block) Dictionary(capacity));
}

size_t Dictionary::PositionOf(std::string_view key) const {
  if (index_)
    return index_->Find(entries_.begin(), key, std::hash<std::string_view>()(key));
  for (size_t i = 0; i < entries_.size(); ++i) {
    if (entries_[i].key.view() == key)
      return i;
  }
  return kNowhere;
}

size_t Dictionary::PositionOf(const Key& key) const {
  if (index_)
    return index_->Find(entries_.begin(), key.view(), key.hash());
  for (size_t i = 0; i < entries_.size(); ++i) {
    if (entries_[i].key == key)
      return i;
  }
  return kNowhere;
}

Object* Dictionary::Get(std::string_view key) const {
  const size_t position = PositionOf(key);
  return position == kNowhere ? nullptr : entries_[position].value.get();
}

Object* Dictionary::Get(const Key& key) const {
  const size_t position = PositionOf(key);
  return position == kNowhere ? nullptr : entries_[position].value.get();
}

const String* Dictionary::GetString(std::string_view key) const {
  Object* value = Get(key);
  return value ? value->AsString() : nullptr;
}

Array* Dictionary::GetArray(std::string_view key) const {
  Object* value = Get(key);
  return value ? value->AsArray() : nullptr;
}

Dictionary* Dictionary::GetDictionary(std::string_view key) const {
  Object* value = Get(key);
  return value ? value->AsDictionary() : nullptr;
}

void Dictionary::Set(std::string_view key, Ref<Object> value) {
  if (!value)
    return;
  const size_t position = PositionOf(key);
  if (position == kNowhere) {
    Add(Key(key), std::move(value));
  } else {
    Replace(position, std::move(value));
  }
}

void Dictionary::Set(const Key& key, Ref<Object> value) {
  if (!value)
    return;
  const size_t position = PositionOf(key);
  if (position == kNowhere) {
    Add(key, std::move(value));
  } else {
    Replace(position, std::move(value));
  }
}

namespace {

// What a value adds to its dictionary's hash. Equal values hash alike; an
// array or dictionary counts by its kind alone (see Dictionary::Hash).
uint64_t ValueHash(const Object& value) {
  switch (value.type()) {
    case TypeID::kString:
      return value.AsString()->Hash();
    case TypeID::kBoolean:
      return value.AsBoolean()->value() ? 1 : 2;
    case TypeID::kURL:
      return std::hash<std::string>()(value.AsURL()->path());
    case TypeID::kArray:
      return 3;
    case TypeID::kDictionary:
      return 4;
  }
  return 0;
}

}  // namespace

size_t Dictionary::TakeHash() const {
  // A sum over the entries, since equal dictionaries may hold their entries
  // in different orders; each entry is spread a little so that the sum
  // keeps their bits apart, and the sum is mixed in full once.
  uint64_t sum = 0;
  for (const Entry& entry : entries_) {
    uint64_t spread = (entry.key.hash() ^ ValueHash(*entry.value)) * internal::kSpread;
    sum += spread ^ (spread >> 32);
  }
  const uint64_t hash = Mix(sum);
  hash_ = hash != 0 ? hash : 1;
  return hash_;
}

void Dictionary::Replace(size_t position, Ref<Object> value) {
  hash_ = 0;
  NoteChild(*value);
  entries_[position].value = std::move(value);
}

void Dictionary::IndexLastEntry() {
  if (index_) {
    index_->Add(entries_.begin(), entries_.size() - 1);
    return;
  }
  index_ = std::make_unique<Index>();
  for (size_t i = 0; i < entries_.size(); ++i)
    index_->Add(entries_.begin(), i);
}

void Dictionary::ForEachChild(void (*visit)(Object*, void*), void* context) {
  for (const Entry& entry : entries_)
    visit(entry.value.get(), context);
}

void Dictionary::DropChildren() {
  hash_ = 0;
  index_.reset();
  entries_.clear();
}

// URL

namespace {

std::string WithoutTrailingSlashes(std::string path) {
  while (path.size() > 1 && path.back() == '/')
    path.pop_back();
  return path;
}

bool StaysUnescapedInFileURL(unsigned char c) {
  if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'))
    return true;
  return std::string_view("-._~!$&'()*+,;=:@/").find(static_cast<char>(c)) !=
         std::string_view::npos;
}

}  // namespace

Ref<URL> URL::CreateWithFileSystemPath(std::string_view path) {
  if (path.empty() || path.front() != '/')
    return nullptr;
  ++live_objects;
  return Ref<URL>(new URL(WithoutTrailingSlashes(std::string(path))));
}

Ref<URL> URL::CopyAppendingPathComponent(std::string_view component) const {
  std::string path = path_;
  if (path.back() != '/')
    path += '/';
  path += component;
  ++live_objects;
  return Ref<URL>(new URL(WithoutTrailingSlashes(std::move(path))));
}

std::string URL::AbsoluteString() const {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string result = "file://";
  for (unsigned char c : path_) {
    if (StaysUnescapedInFileURL(c)) {
      result += static_cast<char>(c);
    } else {
      result += '%';
      result += kHex[c >> 4];
      result += kHex[c & 0xF];
    }
  }
  return result;
}

// Equality

namespace {

struct PairHash {
  size_t operator()(const std::pair<const Object*, const Object*>& pair) const {
    return std::hash<const void*>()(pair.first) * 31 + std::hash<const void*>()(pair.second);
  }
};

// Compares two values without looking into containers; says whether their
// contents still need comparing.
bool ShallowEqual(const Object* a, const Object* b, bool* look_inside) {
  *look_inside = false;
  if (a == b)
    return true;
  if (!a || !b || a->type() != b->type())
    return false;
  switch (a->type()) {
    case TypeID::kString:
      return *a->AsString() == *b->AsString();
    case TypeID::kBoolean:
      return a->AsBoolean()->value() == b->AsBoolean()->value();
    case TypeID::kURL:
      return a->AsURL()->path() == b->AsURL()->path();
    case TypeID::kArray:
      *look_inside = true;
      return a->AsArray()->size() == b->AsArray()->size();
    case TypeID::kDictionary:
      *look_inside = true;
      return a->AsDictionary()->size() == b->AsDictionary()->size();
  }
  return false;
}

}  // namespace

bool Equal(const Object* a, const Object* b) {
  bool look_inside;
  if (!ShallowEqual(a, b, &look_inside))
    return false;
  if (!look_inside)
    return true;
  // Pairs of containers are compared from a work list rather than by
  // recursion, so depth costs no stack, and plain values are compared as
  // they are met, so the first difference ends the walk before the rest is
  // looked at. A pair met again is either under comparison or already found
  // equal (a difference ends the walk at once), so it counts as equal: that
  // is what makes cycles terminate and shared children compare once. Only
  // pairs with a shared side can be met again: a cycle that the caller's
  // references reach has a member held from outside it as well as from
  // inside. So only those are recorded, and comparing a tree of containers
  // that each have one parent allocates next to nothing.
  std::vector<std::pair<const Object*, const Object*>> work;
  std::unordered_set<std::pair<const Object*, const Object*>, PairHash> seen;
  auto compare = [&work](const Object* x, const Object* y) {
    bool containers;
    if (!ShallowEqual(x, y, &containers))
      return false;
    if (containers)
      work.emplace_back(x, y);
    return true;
  };
  for (std::pair<const Object*, const Object*> pair{a, b};;) {
    const auto [x, y] = pair;
    if (const Array* array = x->AsArray()) {
      const Array* other = y->AsArray();
      for (size_t i = 0; i < array->size(); ++i) {
        if (!compare(array->at(i).get(), other->at(i).get()))
          return false;
      }
    } else {
      // Dictionaries made alike hold their keys in one order: a key is
      // looked for only when its counterpart is not where it is.
      const Dictionary* other = y->AsDictionary();
      const Dictionary::Entry* counterparts = other->begin();
      for (const Dictionary::Entry& entry : *x->AsDictionary()) {
        const Dictionary::Entry& at_same_place = *counterparts++;
        const Object* counterpart =
            at_same_place.key == entry.key ? at_same_place.value.get() : other->Get(entry.key);
        if (!counterpart || !compare(entry.value.get(), counterpart))
          return false;
      }
    }
    do {
      if (work.empty())
        return true;
      pair = work.back();
      work.pop_back();
    } while ((pair.first->RetainCount() > 1 || pair.second->RetainCount() > 1) &&
             !seen.insert(pair).second);
  }
}

}  // namespace cf
