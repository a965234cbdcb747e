#include "cli/set_tree_text.h"

#include <string_view>

#include "cli/json_row.h"

namespace {

// Spaces per level: of the outline, and of the JSON.
constexpr size_t kOutlineIndent = 4;
constexpr size_t kJsonIndent = 2;

// The platform's file-type codes that the reader stores, in words, in
// parentheses; a label the reader kept as the font manager wrote it
// ("(PS)") already has them.
void AppendFormat(std::string_view code, std::string* out) {
  if (code == "OTTO") {
    out->append("(OpenType)");
  } else if (code == "true") {
    out->append("(TrueType)");
  } else if (code == "LWFN") {
    out->append("(PostScript Type 1)");
  } else if (code.starts_with('(')) {
    out->append(code);
  } else {
    out->push_back('(');
    out->append(code);
    out->push_back(')');
  }
}

std::string_view KindName(const cf::Object& value) {
  switch (value.type()) {
    case cf::TypeID::kString:
      return "a string";
    case cf::TypeID::kBoolean:
      return "a boolean";
    case cf::TypeID::kArray:
      return "a list";
    case cf::TypeID::kDictionary:
      return "a dictionary";
    case cf::TypeID::kURL:
      return "a URL";
  }
  return "a value";
}

std::string_view TextOf(const cf::Dictionary& dictionary, std::string_view key) {
  const cf::String* value = dictionary.GetString(key);
  return value != nullptr ? value->utf8() : std::string_view();
}

// A line for what stands where a set or a font should: "? (a string, not a
// font)", after the line's marker.
void AppendStray(const cf::Object& value, std::string_view marker, std::string_view expected,
                 std::string* out) {
  out->append(marker);
  out->append("? (");
  out->append(KindName(value));
  out->append(", not ");
  out->append(expected);
  out->append(")\n");
}

// The texts a font's line shows, gathered in one pass over its entries: each
// key of a parsed dictionary is a block of its own, so a lookup per text
// would fetch the same few keys again and again.
struct FontTexts {
  std::string_view postscript_name, family_name, format, path;
};

FontTexts TextsOf(const cf::Dictionary& font) {
  FontTexts texts;
  for (const cf::Dictionary::Entry& entry : font) {
    const std::string_view key = entry.key;
    std::string_view* text = key == "kQBFontInfoPostScriptName" ? &texts.postscript_name
                             : key == "kQBFontInfoFamilyName"   ? &texts.family_name
                             : key == "kQBFontInfoFontFormat"   ? &texts.format
                             : key == "kQBFontInfoFilePath"     ? &texts.path
                                                                : nullptr;
    if (text != nullptr) {
      if (const cf::String* value = entry.value->AsString())
        *text = value->utf8();
    }
  }
  return texts;
}

void AppendFont(const cf::Object& value, int depth, std::string* out) {
  out->append(static_cast<size_t>(depth) * kOutlineIndent, ' ');
  const cf::Dictionary* font = value.AsDictionary();
  if (font == nullptr) {
    AppendStray(value, "- ", "a font", out);
    return;
  }
  const FontTexts texts = TextsOf(*font);
  const std::string_view name =
      texts.postscript_name.empty() ? texts.family_name : texts.postscript_name;
  out->append("- ");
  out->append(name.empty() ? "(unnamed font)" : name);
  if (!texts.format.empty()) {
    out->push_back(' ');
    AppendFormat(texts.format, out);
  }
  if (!texts.path.empty()) {
    out->append("  ");
    out->append(texts.path);
  }
  out->push_back('\n');
}

void AppendSet(const cf::Object& value, int depth, std::string* out) {
  out->append(static_cast<size_t>(depth) * kOutlineIndent, ' ');
  const cf::Dictionary* set = value.AsDictionary();
  if (set == nullptr) {
    AppendStray(value, "+ ", "a set", out);
    return;
  }
  const std::string_view name = TextOf(*set, "SetName");
  out->append("+ ");
  out->append(name.empty() ? "(unnamed set)" : name);
  out->push_back('\n');
  if (const cf::Array* children = set->GetArray("Children")) {
    for (const cf::Ref<cf::Object>& child : *children)
      AppendSet(*child, depth + 1, out);
  }
  if (const cf::Array* fonts = set->GetArray("Fonts")) {
    for (const cf::Ref<cf::Object>& font : *fonts)
      AppendFont(*font, depth + 1, out);
  }
}

// An array's or a dictionary's elements, one per line at `depth` + 1, each
// written by `append_element`; its brackets are `open` and `close`.
template <class Elements, class AppendElement>
void AppendContainer(const Elements& elements, char open, char close, int depth, std::string* out,
                     AppendElement append_element) {
  out->push_back(open);
  if (elements.empty()) {
    out->push_back(close);
    return;
  }
  out->push_back('\n');
  const size_t inner = static_cast<size_t>(depth + 1) * kJsonIndent;
  const auto* last = elements.end() - 1;
  for (const auto* element = elements.begin(); element != elements.end(); ++element) {
    out->append(inner, ' ');
    append_element(*element);
    out->append(element != last ? ",\n" : "\n");
  }
  out->append(inner - kJsonIndent, ' ');
  out->push_back(close);
}

void AppendJson(const cf::Object& value, int depth, std::string* out) {
  switch (value.type()) {
    case cf::TypeID::kString:
      AppendJsonString(value.AsString()->utf8(), out);
      return;
    case cf::TypeID::kBoolean:
      out->append(value.AsBoolean()->value() ? "true" : "false");
      return;
    case cf::TypeID::kURL:
      AppendJsonString(value.AsURL()->AbsoluteString(), out);
      return;
    case cf::TypeID::kArray:
      AppendContainer(*value.AsArray(), '[', ']', depth, out,
                      [&](const cf::Ref<cf::Object>& item) { AppendJson(*item, depth + 1, out); });
      return;
    case cf::TypeID::kDictionary:
      AppendContainer(*value.AsDictionary(), '{', '}', depth, out,
                      [&](const cf::Dictionary::Entry& entry) {
                        AppendJsonString(entry.key, out);
                        out->append(": ");
                        AppendJson(*entry.value, depth + 1, out);
                      });
      return;
  }
}

}  // namespace

std::string SetTreeText(const cf::Object* tree) {
  if (tree == nullptr)
    return "(nothing)\n";
  const cf::Array* sets = tree->AsArray();
  if (sets == nullptr)
    return "? (" + std::string(KindName(*tree)) + ", not a list of sets)\n";
  if (sets->empty())
    return "(no font sets)\n";
  std::string out;
  for (const cf::Ref<cf::Object>& set : *sets)
    AppendSet(*set, 0, &out);
  return out;
}

std::string PropertyListJson(const cf::Object* value) {
  if (value == nullptr)
    return "null";
  std::string out;
  AppendJson(*value, 0, &out);
  return out;
}
