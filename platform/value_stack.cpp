#include "platform/value_stack.h"

#include <array>

bool ValueStack::MakeStrings(size_t first) {
  std::array<std::string_view, cf::String::kMaxRun> texts;
  std::array<Pending*, cf::String::kMaxRun> owners;
  size_t count = 0;
  bool well_formed = true;
  auto make_run = [&] {
    std::array<cf::Ref<cf::String>, cf::String::kMaxRun> strings;
    cf::String::CreateRun({texts.data(), count}, strings.data());
    for (size_t i = 0; i < count; ++i) {
      well_formed = well_formed && strings[i];
      owners[i]->value = std::move(strings[i]);
    }
    count = 0;
  };
  for (size_t i = first; i < pending_.size(); ++i) {
    if (pending_[i].value)
      continue;
    texts[count] = pending_[i].text;
    owners[count] = &pending_[i];
    if (++count == texts.size())
      make_run();
  }
  if (count > 0)
    make_run();
  return well_formed;
}

bool ValueStack::CloseArray(size_t first, InternedKey* key) {
  if (!MakeStrings(first))
    return false;
  cf::Ref<cf::Array> array = cf::Array::Create(pending_.size() - first);
  for (size_t i = first; i < pending_.size(); ++i)
    array->Append(std::move(pending_[i].value));
  pending_.resize(first);
  Push(key, std::move(array));
  return true;
}

bool ValueStack::CloseDictionary(size_t first, InternedKey* key) {
  if (!MakeStrings(first))
    return false;
  cf::Ref<cf::Dictionary> dictionary = cf::Dictionary::Create(pending_.size() - first);
  const uint64_t number = ++dictionaries_;
  bool by_identity = true;
  for (size_t i = first; i < pending_.size(); ++i)
    by_identity = by_identity && pending_[i].key->unique;
  for (size_t i = first; i < pending_.size(); ++i) {
    InternedKey& entry_key = *pending_[i].key;
    if (!by_identity || entry_key.dictionary == number) {
      dictionary->Set(entry_key.key, std::move(pending_[i].value));
    } else {
      entry_key.dictionary = number;
      dictionary->AddNew(entry_key.key, std::move(pending_[i].value));
    }
  }
  pending_.resize(first);
  Push(key, std::move(dictionary));
  return true;
}

cf::Ref<cf::Object> ValueStack::Take(size_t index) {
  Pending& pending = pending_[index];
  if (!pending.value)
    return cf::String::Create(pending.text);
  return std::move(pending.value);
}
