#include "reader/relationships.h"

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

void AttachFonts(cf::Dictionary* parent, std::string_view childID) {
  const cf::Ref<cf::String> id = cf::String::Create(childID);
  cf::Ref<cf::Array> fonts = QBFA_CreateArrayForFontsWithID(id.get());
  if (!fonts) {
    if (gLogStuff)
      hkwprintf("[QB] Could not find font for child %@\n", id);
    return;
  }
  if (gLogStuff && fonts->size() >= 2) {
    hkwprintf(
        "[QB] This font child id %@ has multiple (%lu) items. How bizarre, but not unexpected. "
        "%@.\n",
        id, static_cast<unsigned long>(fonts->size()), fonts);
  }
  for (const cf::Ref<cf::Object>& font : *fonts) {
    if (font && font->AsDictionary())
      AppendOnce(ArrayInSet(parent, Links().fonts), font);
  }
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
  // Ids match only when their texts are identical: "01" is not parent "1".
  cf::Dictionary* parent =
      containers != nullptr && parentID ? containers->GetDictionary(*parentID) : nullptr;
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
      AttachFonts(parent, *childID);
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
