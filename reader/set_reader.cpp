#include "reader/set_reader.h"

#include "core/connection.h"
#include "hookwright/hkwprintf.h"
#include "platform/description.h"
#include "platform/strings.h"
#include "reader/records.h"
#include "reader/relationships.h"
#include "state.h"

namespace {

// The font manager's own bookkeeping sets, which users never see as theirs.
bool IsHiddenSetName(const cf::String& name) {
  static const cf::Ref<cf::String> kLastImport = cf::String::Create("Last Import");
  return name.HasPrefix("__") ||
         CFStringCompare(name, *kLastImport, kCFCompareCaseInsensitive) == kCFCompareEqualTo;
}

bool IsTopLevelSet(const cf::Dictionary* set) {
  return set != nullptr && set->Contains(kSetNameKey) && !set->Contains(kHasParentsKey) &&
         (set->Contains(kFontsKey) || set->Contains(kChildrenKey));
}

}  // namespace

int QBFA_AddFontSetRowCallback(void* context, int columnCount, char** values, char** names) {
  cf::Ref<cf::Dictionary> row = QBFA_CopyDictFromRow(columnCount, values, names);
  if (!row)
    return 0;
  const cf::String* setID = row->GetString(kIDColumn);
  const cf::String* name = row->GetString(kSetNameKey);
  if (gLogStuff)
    CFShow(name);
  cf::Dictionary* containers =
      context != nullptr ? static_cast<cf::Object*>(context)->AsDictionary() : nullptr;
  if (row->empty() || setID == nullptr || name == nullptr || containers == nullptr ||
      IsHiddenSetName(*name)) {
    return 0;
  }
  row->Set(kFontSetTypeKey, cf::MakeString("FAP"));
  containers->Set(setID->utf8(), row);
  return 0;
}

namespace {

// A read starts from a closed database by connecting through `source`.
bool EnsureConnected(const qbfa::DatabaseSource& source) {
  if (db == nullptr)
    qbfa::ConnectToDatabase(source);
  return db != nullptr;
}

}  // namespace

cf::Ref<cf::Dictionary> QBFA_CopyFontSetContainers() {
  return qbfa::CopyFontSetContainers(qbfa::SearchedDatabase());
}

cf::Ref<cf::Array> QBFA_CopyFontSets() {
  return qbfa::CopyFontSets(qbfa::SearchedDatabase());
}

namespace qbfa {

cf::Ref<cf::Dictionary> CopyFontSetContainers(const DatabaseSource& source) {
  if (!EnsureConnected(source))
    return nullptr;
  cf::Ref<cf::Dictionary> containers = cf::Dictionary::Create();
  if (!containers)
    return nullptr;
  char* errorText = nullptr;
  int rc = sqlite_exec_printf(db, "SELECT * FROM sets;", QBFA_AddFontSetRowCallback,
                              static_cast<cf::Object*>(containers.get()), &errorText);
  if (rc != SQLITE_OK) {
    if (errorText != nullptr) {
      hkwprintf("Unable to find set table error %d: %s\n", rc, errorText);
    } else {
      hkwprintf("Unable to set table error %d\n", rc);
    }
  }
  sqlite_freemem(errorText);
  return containers;
}

cf::Ref<cf::Array> CopyFontSets(const DatabaseSource& source) {
  if (!EnsureConnected(source))
    return nullptr;
  cf::Ref<cf::Dictionary> containers = CopyFontSetContainers(source);
  if (containers && containers->empty())
    containers = nullptr;
  cf::Ref<cf::Array> sets;
  if (containers) {
    QBFA_ConnectItemsToContainers(containers.get());
    sets = cf::Array::Create();
    if (sets) {
      // The map yields its sets in the order their ids were first accepted,
      // so an unchanged database reads back as an equal tree.
      for (const auto& entry : *containers) {
        const cf::Dictionary* set = entry.value ? entry.value->AsDictionary() : nullptr;
        if (!IsTopLevelSet(set))
          continue;
        if (sets->empty() || !sets->ContainsValue(set))
          sets->Append(entry.value);
      }
    }
    containers = nullptr;
  }
  if (gLogStuff)
    hkwprintf("[QB] Done saving\n");
  if (db != nullptr) {
    sqlite_close(db);
    db = nullptr;
  }
  return sets;
}

}  // namespace qbfa
