#include "platform/plist_xml_writer.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/reserved_buffer.h"
#include "platform/utf8.h"

namespace {

constexpr std::string_view kProlog =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";
constexpr std::string_view kEpilog = "</plist>\n";

// The most indentation a line can have: keys sit one level below the
// deepest container.
constexpr size_t kMaxIndent = cf::kMaxPropertyListDepth + 1;

// What a byte of text becomes: itself (0), an entity, or a refusal (U+0000
// has no place in XML).
enum ByteClass : uint8_t { kPlain, kAmp, kLess, kGreater, kNul };
constexpr std::array<uint8_t, 256> kByteClass = [] {
  std::array<uint8_t, 256> classes{};
  classes['&'] = kAmp;
  classes['<'] = kLess;
  classes['>'] = kGreater;
  classes[0] = kNul;
  return classes;
}();

// Orders two UTF-8 texts as their UTF-16 code units order them. That is
// byte order, but for characters U+E000 to U+FFFF (lead bytes EE and EF),
// which come after those past U+FFFF (lead bytes F0 to F4): in UTF-16 the
// latter begin with a surrogate, D800 to DFFF. Texts that agree up to a
// point agree on where their characters start, so the first differing bytes
// are both lead bytes or both continuation bytes (which are below EE).
bool Utf16Less(std::string_view a, std::string_view b) {
  const size_t common = std::min(a.size(), b.size());
  const auto* x = reinterpret_cast<const unsigned char*>(a.data());
  const auto* y = reinterpret_cast<const unsigned char*>(b.data());
  const size_t at = static_cast<size_t>(std::mismatch(x, x + common, y).first - x);
  if (at == common)
    return a.size() < b.size();
  if (x[at] >= 0xEE && y[at] >= 0xEE && (x[at] >= 0xF0) != (y[at] >= 0xF0))
    return x[at] >= 0xF0;
  return x[at] < y[at];
}

// Appends `text` at `out` with &, < and > escaped, and returns the end; null
// when the text holds U+0000. `out` has room for five bytes per byte.
char* AppendEscaped(std::string_view text, char* out) {
  for (const char c : text) {
    switch (kByteClass[static_cast<unsigned char>(c)]) {
      case kPlain:
        *out++ = c;
        break;
      case kAmp:
        out = std::copy_n("&amp;", 5, out);
        break;
      case kLess:
        out = std::copy_n("&lt;", 4, out);
        break;
      case kGreater:
        out = std::copy_n("&gt;", 4, out);
        break;
      default:
        return nullptr;
    }
  }
  return out;
}

// How the entries of dictionaries with one set of keys are written: in which
// order, and each key's line. Rows of one table share their keys, so a tree
// of thousands of dictionaries has only a few sets of keys; each is sorted,
// checked and escaped once.
struct KeyOrder {
  std::vector<cf::Key> keys;       // the set of keys, in the dictionaries' order
  std::vector<uint32_t> sorted;    // positions of the entries, in key order
  std::vector<std::string> lines;  // "<key>...</key>\n", by position
  bool writable = true;            // false when a key is not UTF-8 or holds U+0000
};

class KeyOrders {
 public:
  // The order for the keys of `dictionary`, which is not empty. Shared: a
  // dictionary nested in the one being written may take over its slot.
  std::shared_ptr<const KeyOrder> For(const cf::Dictionary& dictionary) {
    size_t hash = dictionary.size();
    for (const cf::Dictionary::Entry& entry : dictionary)
      hash = (hash ^ entry.key.hash()) * cf::internal::kSpread;
    std::shared_ptr<const KeyOrder>& slot = slots_[(hash >> 32) % kSlots];
    if (!slot || !SameKeys(*slot, dictionary))
      slot = Make(dictionary);
    return slot;
  }

 private:
  // Direct-mapped: a tree with more sets of keys than this only sorts some
  // of them again.
  static constexpr size_t kSlots = 64;

  static bool SameKeys(const KeyOrder& order, const cf::Dictionary& dictionary) {
    if (order.keys.size() != dictionary.size())
      return false;
    const cf::Key* key = order.keys.data();
    for (const cf::Dictionary::Entry& entry : dictionary) {
      if (!(*key++ == entry.key))
        return false;
    }
    return true;
  }

  static std::shared_ptr<const KeyOrder> Make(const cf::Dictionary& dictionary) {
    auto order = std::make_shared<KeyOrder>();
    for (const cf::Dictionary::Entry& entry : dictionary) {
      order->sorted.push_back(static_cast<uint32_t>(order->keys.size()));
      order->keys.push_back(entry.key);
      std::string_view text = entry.key;
      std::string line(5 * text.size() + 12, '\0');
      char* end = AppendEscaped(text, line.data() + 5);
      if (end == nullptr || !cf::IsWellFormedUtf8(text)) {
        order->writable = false;
        break;
      }
      std::memcpy(line.data(), "<key>", 5);
      end = std::copy_n("</key>\n", 7, end);
      line.resize(static_cast<size_t>(end - line.data()));
      order->lines.push_back(std::move(line));
    }
    std::sort(order->sorted.begin(), order->sorted.end(),
              [&](uint32_t a, uint32_t b) { return Utf16Less(order->keys[a], order->keys[b]); });
    return order;
  }

  std::array<std::shared_ptr<const KeyOrder>, kSlots> slots_;
};

// One walk of the tree, writing as it goes and giving up at the first value
// that cannot be written.
class Writer {
 public:
  Writer() : buffer_(std::make_shared<ReservedBuffer>(cf::kMaxPropertyListBytes)) {}

  std::optional<cf::Data> Write(const cf::Object& root) {
    if (!Append(kProlog) || !WriteValue(root, 0) || !Append(kEpilog))
      return std::nullopt;
    buffer_->Seal();
    const std::string_view written = buffer_->written();
    return cf::Data(std::move(buffer_), written);
  }

 private:
  bool Append(std::string_view text) {
    if (!buffer_->Reserve(text.size()))
      return false;
    buffer_->set_cursor(std::copy(text.begin(), text.end(), buffer_->cursor()));
    return true;
  }

  // Starts a line: `level` tabs, then `tag`. Room is made for `more` bytes
  // after the tag.
  char* OpenLine(size_t level, std::string_view tag, size_t more) {
    if (!buffer_->Reserve(kMaxIndent + tag.size() + more))
      return nullptr;
    char* out = std::fill_n(buffer_->cursor(), level, '\t');
    return std::copy(tag.begin(), tag.end(), out);
  }

  bool WriteLine(size_t level, std::string_view line) {
    char* out = OpenLine(level, line, 0);
    if (out != nullptr)
      buffer_->set_cursor(out);
    return out != nullptr;
  }

  bool WriteString(const cf::String& string, size_t level) {
    const std::string_view text = string.utf8();
    // Room for every byte escaped at its longest ("&amp;"), and the end tag.
    char* out = OpenLine(level, "<string>", 5 * text.size() + 10);
    if (out == nullptr || (out = AppendEscaped(text, out)) == nullptr)
      return false;
    buffer_->set_cursor(std::copy_n("</string>\n", 10, out));
    return true;
  }

  bool WriteValue(const cf::Object& value, size_t level) {
    if (++values_ > kMaxWrittenValues || level > cf::kMaxPropertyListDepth)
      return false;
    switch (value.type()) {
      case cf::TypeID::kString:
        return WriteString(*value.AsString(), level);
      case cf::TypeID::kBoolean:
        return WriteLine(level, value.AsBoolean()->value() ? "<true/>\n" : "<false/>\n");
      case cf::TypeID::kArray:
        return WriteArray(*value.AsArray(), level);
      case cf::TypeID::kDictionary:
        return WriteDictionary(*value.AsDictionary(), level);
      case cf::TypeID::kURL:
        return false;
    }
    return false;
  }

  // Containers on the way down from the top, for telling a cycle: the path
  // is never longer than the deepest nesting allowed.
  bool Enter(const cf::Object& container) {
    if (std::find(path_.begin(), path_.end(), &container) != path_.end())
      return false;
    path_.push_back(&container);
    return true;
  }

  bool WriteArray(const cf::Array& array, size_t level) {
    if (array.empty())
      return WriteLine(level, "<array/>\n");
    if (!Enter(array) || !WriteLine(level, "<array>\n"))
      return false;
    for (const cf::Ref<cf::Object>& item : array) {
      if (!WriteValue(*item, level + 1))
        return false;
    }
    path_.pop_back();
    return WriteLine(level, "</array>\n");
  }

  bool WriteDictionary(const cf::Dictionary& dictionary, size_t level) {
    if (dictionary.empty())
      return WriteLine(level, "<dict/>\n");
    const std::shared_ptr<const KeyOrder> order = orders_.For(dictionary);
    if (!order->writable || !Enter(dictionary) || !WriteLine(level, "<dict>\n"))
      return false;
    const cf::Dictionary::Entry* entries = dictionary.begin();
    for (const uint32_t position : order->sorted) {
      if (!WriteLine(level + 1, order->lines[position]) ||
          !WriteValue(*entries[position].value, level + 1)) {
        return false;
      }
    }
    path_.pop_back();
    return WriteLine(level, "</dict>\n");
  }

  std::shared_ptr<ReservedBuffer> buffer_;
  std::vector<const cf::Object*> path_;
  size_t values_ = 0;
  KeyOrders orders_;
};

}  // namespace

std::optional<cf::Data> WriteXmlPropertyList(const cf::Object* root) {
  if (root == nullptr)
    return std::nullopt;
  return Writer().Write(*root);
}
