// Batched string storage: the strings of a row made in one allocation.
//
// A run's block starts with the count of its strings still alive; each
// string follows, the run's address in the word before it, then its text,
// padded to a word. The strings are values as any other, freed one by one;
// the block goes with the last.
#include <algorithm>
#include <array>
#include <cassert>
#include <new>

#include "platform/utf8.h"
#include "platform/values/string.h"

namespace cf {

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
    ++internal::live_objects;
    strings[i] = Ref<String>(InRun::Place(run, at, texts[i], &at));
  }
}

}  // namespace cf
