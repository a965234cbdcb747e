#include "platform/description.h"

#include <algorithm>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "hookwright/log.h"
#include "platform/strings.h"
#include "platform/utf8.h"

namespace cf {
namespace {

constexpr std::string_view kIndentUnit = "    ";
constexpr int kMaxLevel = 512;

bool NeedsQuotes(std::string_view text) {
  if (text.empty())
    return true;
  return !std::all_of(text.begin(), text.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           std::string_view("_$./:-").find(c) != std::string_view::npos;
  });
}

// "\U" and four lowercase hex digits of one UTF-16 unit.
void AppendEscapedUnit(std::string& out, char32_t unit) {
  out += "\\U";
  for (int shift = 12; shift >= 0; shift -= 4)
    out += "0123456789abcdef"[(unit >> shift) & 0xF];
}

// A backslash and three octal digits, for the other control characters.
void AppendOctal(std::string& out, char32_t point) {
  out += '\\';
  for (int shift = 6; shift >= 0; shift -= 3)
    out += static_cast<char>('0' + ((point >> shift) & 7));
}

// A string as it stands inside a collection's description: bare when it is
// a plain word, otherwise quoted, with control characters and everything past
// ASCII escaped (the latter as UTF-16 units, "\U00e9").
void AppendQuotable(std::string& out, std::string_view text) {
  if (!NeedsQuotes(text)) {
    out += text;
    return;
  }
  out += '"';
  for (size_t i = 0; i < text.size();) {
    char32_t point = NextCodePoint(text, &i);
    switch (point) {
      case '"':
        out += "\\\"";
        continue;
      case '\\':
        out += "\\\\";
        continue;
      case '\a':
        out += "\\a";
        continue;
      case '\b':
        out += "\\b";
        continue;
      case '\f':
        out += "\\f";
        continue;
      case '\n':
        out += "\\n";
        continue;
      case '\r':
        out += "\\r";
        continue;
      case '\t':
        out += "\\t";
        continue;
      case '\v':
        out += "\\v";
        continue;
      default:
        break;
    }
    if (point < 0x20 || point == 0x7F) {
      AppendOctal(out, point);
    } else if (point < 0x80) {
      out += static_cast<char>(point);
    } else if (point < 0x10000) {
      AppendEscapedUnit(out, point);
    } else {
      AppendEscapedUnit(out, 0xD800 + ((point - 0x10000) >> 10));
      AppendEscapedUnit(out, 0xDC00 + ((point - 0x10000) & 0x3FF));
    }
  }
  out += '"';
}

void AppendIndent(std::string& out, int level) {
  for (int i = 0; i < level; ++i)
    out += kIndentUnit;
}

std::vector<const Dictionary::Entry*> SortedEntries(const Dictionary& dictionary) {
  std::vector<const Dictionary::Entry*> entries;
  entries.reserve(dictionary.size());
  for (const Dictionary::Entry& entry : dictionary)
    entries.push_back(&entry);
  std::sort(entries.begin(), entries.end(), [](const auto* a, const auto* b) {
    return CompareAsUtf16(a->key, b->key) == kCFCompareLessThan;
  });
  return entries;
}

class Describer {
 public:
  std::string Run(const Object* object) {
    if (!object)
      return "(null)";
    if (const String* string = object->AsString())
      return std::string(string->utf8());
    Append(object, 0);
    return std::move(out_);
  }

 private:
  // Appends `object` as it stands at nesting `level`. A collection's opening
  // bracket carries the indent of its own level even after "key = ", which is
  // how the platform lays nested collections out.
  void Append(const Object* object, int level) {
    switch (object->type()) {
      case TypeID::kString:
        AppendQuotable(out_, object->AsString()->utf8());
        return;
      case TypeID::kBoolean:
        out_ += object->AsBoolean()->value() ? "1" : "0";
        return;
      case TypeID::kURL:
        out_ += object->AsURL()->AbsoluteString();
        return;
      case TypeID::kArray:
      case TypeID::kDictionary:
        break;
    }
    if (level > kMaxLevel || !open_.insert(object).second) {
      // Already being described further out (a cycle), or nested deeper
      // than the stack should carry: elide it instead of descending.
      out_ += object->type() == TypeID::kArray ? "(...)" : "{...}";
      return;
    }
    AppendIndent(out_, level);
    if (const Array* array = object->AsArray()) {
      out_ += "(\n";
      for (size_t i = 0; i < array->size(); ++i) {
        AppendIndent(out_, level + 1);
        Append(array->at(i).get(), level + 1);
        out_ += i + 1 < array->size() ? ",\n" : "\n";
      }
      AppendIndent(out_, level);
      out_ += ")";
    } else {
      out_ += "{\n";
      for (const Dictionary::Entry* entry : SortedEntries(*object->AsDictionary())) {
        AppendIndent(out_, level + 1);
        AppendQuotable(out_, entry->key);
        out_ += " = ";
        Append(entry->value.get(), level + 1);
        out_ += ";\n";
      }
      AppendIndent(out_, level);
      out_ += "}";
    }
    open_.erase(object);
  }

  std::string out_;
  std::unordered_set<const Object*> open_;
};

}  // namespace

std::string Describe(const Object* object) {
  return Describer().Run(object);
}

}  // namespace cf

void CFShow(const cf::Object* object) {
  hookwright::WriteLog(cf::Describe(object) + "\n");
}
