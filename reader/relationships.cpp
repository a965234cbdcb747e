#include "reader/relationships.h"

#include <string>
#include <string_view>

#include "hookwright/hkwprintf.h"
#include "platform/description.h"
#include "platform/strings.h"
#include "reader/font_lookup.h"
#include "reader/records.h"
#include "reader/row_values.h"
#include "state.h"

namespace {

constexpr int kFontChild = 1;
constexpr int kSetChild = 2;

// The keys of a set's links, made once: every set shares them, so a set
// finds its link arrays by the key's identity rather than by its text.
struct LinkKeys {
  cf::Key fonts{kFontsKey};
  cf::Key children{kChildrenKey};
  cf::Key childrenNames{kChildrenNamesKey};
};

const LinkKeys& Links() {
  // Never destroyed, like the sets that share them.
  static const LinkKeys* keys = new LinkKeys;
  return *keys;
}

// The array under `key` in `set`, made and stored when there is none yet. A
// column of the same name read from the database holds text, not an array;
// the links replace it.
cf::Array* ArrayInSet(cf::Dictionary* set, const cf::Key& key) {
  cf::Object* value = set->Get(key);
  if (cf::Array* array = value != nullptr ? value->AsArray() : nullptr)
    return array;
  cf::Ref<cf::Array> array = cf::Array::Create();
  if (!array)
    return nullptr;
  set->Set(key, array);
  return array.get();
}

// Appends `value` unless an equal one is there already.
bool AppendOnce(cf::Array* array, const cf::Ref<cf::Object>& value) {
  if (array == nullptr || (!array->empty() && array->ContainsValue(value.get())))
    return false;
  array->Append(value);
  return true;
}

// The set the last link named as its parent, and that set's fonts array,
// remembered while one scan of the links runs: links come grouped by parent,
// so most find both here rather than by the parent's id in the map of sets
// and by key in the set. During the scan only the links change the sets,
// and they replace neither a set in the map nor a fonts array once made.
class LastParent {
 public:
  explicit LastParent(const cf::Dictionary* containers)
      : containers_(containers), outer_(current_) {
    current_ = this;
  }
  ~LastParent() { current_ = outer_; }
  LastParent(const LastParent&) = delete;
  LastParent& operator=(const LastParent&) = delete;

  // The scan's memory when `containers` is what it scans; else null, and
  // the caller looks everything up.
  static LastParent* Of(const cf::Dictionary* containers) {
    return current_ != nullptr && current_->containers_ == containers ? current_ : nullptr;
  }

  cf::Dictionary* Parent(std::string_view id) {
    if (!known_ || id != id_) {
      parent_ = containers_->GetDictionary(id);
      id_.assign(id);
      fonts_ = nullptr;
      known_ = true;
    }
    return parent_;
  }

  // The fonts array of the set Parent() last gave, made when it has none.
  cf::Array* Fonts() {
    if (fonts_ == nullptr)
      fonts_ = ArrayInSet(parent_, Links().fonts);
    return fonts_;
  }

 private:
  static inline LastParent* current_ = nullptr;
  const cf::Dictionary* containers_;
  LastParent* outer_;
  bool known_ = false;
  std::string id_;
  cf::Dictionary* parent_ = nullptr;
  cf::Array* fonts_ = nullptr;
};

// The array each font child's rows are looked up into, emptied after each
// use, so that a link costs no array of its own.
cf::Array& FoundFonts() {
  // Never destroyed, like the link keys.
  static cf::Array* found = cf::Array::Create(1).Leak();
  return *found;
}

// `last`, when there is one, holds `parent`.
void AttachFonts(cf::Dictionary* parent, LastParent* last, std::string_view childID) {
  cf::Array& fonts = FoundFonts();
  AppendFontsWithID(childID, &fonts);
  if (fonts.empty()) {
    if (gLogStuff)
      hkwprintf("[QB] Could not find font for child %@\n", cf::String::Create(childID));
    return;
  }
  if (gLogStuff && fonts.size() >= 2) {
    hkwprintf(
        "[QB] This font child id %@ has multiple (%lu) items. How bizarre, but not unexpected. "
        "%@.\n",
        cf::String::Create(childID), static_cast<unsigned long>(fonts.size()), &fonts);
  }
  for (const cf::Ref<cf::Object>& font : fonts) {
    if (font && font->AsDictionary())
      AppendOnce(last != nullptr ? last->Fonts() : ArrayInSet(parent, Links().fonts), font);
  }
  fonts.RemoveAll();
}

void AttachChildSet(cf::Dictionary* containers, cf::Dictionary* parent, std::string_view childID) {
  cf::Ref<cf::Object> child(containers->GetDictionary(childID));
  if (!child) {
    hkwprintf("[QB] Can't find child set for %@\n", cf::String::Create(childID));
    return;
  }
  cf::Dictionary* childSet = child->AsDictionary();
  if (AppendOnce(ArrayInSet(parent, Links().children), child)) {
    childSet->Set(kHasParentsKey, cf::Boolean::True());
  }
  cf::Object* childName = childSet->Get(kSetNameKey);
  if (childName != nullptr) {
    AppendOnce(ArrayInSet(parent, Links().childrenNames), cf::Ref<cf::Object>(childName));
  }
  if (gLogStuff) {
    hkwprintf("[QB] Parent %@:%@ Child\n", parent->Get(kSetNameKey), childName);
  }
}

}  // namespace

int QBFA_AddRelationshipCallback(void* context, int columnCount, char** values, char** names) {
  // A link is read, used and dropped: no dictionary is made for it unless
  // making one would be seen (see RowValues).
  const RowValues row(columnCount, values, names);
  if (!row)
    return 0;
  cf::Dictionary* containers =
      context != nullptr ? static_cast<cf::Object*>(context)->AsDictionary() : nullptr;
  const std::optional<std::string_view> parentID = row.Text(kParentIDColumn);
  if (containers == nullptr || !parentID)
    return 0;
  // Ids match only when their texts are identical: "01" is not parent "1".
  LastParent* last = LastParent::Of(containers);
  cf::Dictionary* parent =
      last != nullptr ? last->Parent(*parentID) : containers->GetDictionary(*parentID);
  if (parent == nullptr)
    return 0;
  // Both texts are used as they are; strings are made of them only to be
  // logged.
  const std::optional<std::string_view> childType = row.Text(kChildTypeColumn);
  const std::optional<std::string_view> childID = row.Text(kChildIDColumn);
  if (!childType || !childID)
    return 0;
  switch (cf::IntValue(*childType)) {
    case kFontChild:
      AttachFonts(parent, last, *childID);
      break;
    case kSetChild:
      AttachChildSet(containers, parent, *childID);
      break;
    default:
      hkwprintf("[QB] Ignoring %@ for type %@\n", cf::String::Create(*childID),
                cf::String::Create(*childType));
      break;
  }
  return 0;
}

void QBFA_ConnectItemsToContainers(cf::Dictionary* containers) {
  if (db == nullptr)
    return;
  const LastParent last(containers);
  char* errorText = nullptr;
  int rc = sqlite_exec_printf(db, "SELECT * FROM rel;", QBFA_AddRelationshipCallback,
                              static_cast<cf::Object*>(containers), &errorText);
  if (rc != SQLITE_OK) {
    if (errorText != nullptr) {
      hkwprintf("Unable to find relationship table error %d: %s\n", rc, errorText);
    } else {
      hkwprintf("Unable to find relationship table, error %d\n", rc);
    }
  }
  sqlite_freemem(errorText);
}
