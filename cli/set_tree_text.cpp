#include "cli/set_tree_text.h"

#include <string_view>

#include "cli/json_row.h"

namespace {

constexpr int kIndent = 4;

// The platform's file-type codes that the reader stores, in words, in
// parentheses; a label the reader kept as the font manager wrote it
// ("(PS)") already has them.
std::string FormatText(std::string_view code) {
  if (code == "OTTO")
    return "(OpenType)";
  if (code == "true")
    return "(TrueType)";
  if (code == "LWFN")
    return "(PostScript Type 1)";
  return code.starts_with('(') ? std::string(code) : "(" + std::string(code) + ")";
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

std::string TextOf(const cf::Dictionary& dictionary, std::string_view key) {
  const cf::String* value = dictionary.GetString(key);
  return value != nullptr ? std::string(value->utf8()) : std::string();
}

void AppendLine(int depth, std::string_view text, std::string* out) {
  out->append(static_cast<size_t>(depth * kIndent), ' ');
  out->append(text);
  out->push_back('\n');
}

void AppendFont(const cf::Object& value, int depth, std::string* out) {
  const cf::Dictionary* font = value.AsDictionary();
  if (font == nullptr) {
    AppendLine(depth, "- ? (" + std::string(KindName(value)) + ", not a font)", out);
    return;
  }
  std::string name = TextOf(*font, "kQBFontInfoPostScriptName");
  if (name.empty())
    name = TextOf(*font, "kQBFontInfoFamilyName");
  std::string line = "- " + (name.empty() ? "(unnamed font)" : name);
  if (std::string format = TextOf(*font, "kQBFontInfoFontFormat"); !format.empty())
    line += " " + FormatText(format);
  if (std::string path = TextOf(*font, "kQBFontInfoFilePath"); !path.empty())
    line += "  " + path;
  AppendLine(depth, line, out);
}

void AppendSet(const cf::Object& value, int depth, std::string* out) {
  const cf::Dictionary* set = value.AsDictionary();
  if (set == nullptr) {
    AppendLine(depth, "+ ? (" + std::string(KindName(value)) + ", not a set)", out);
    return;
  }
  std::string name = TextOf(*set, "SetName");
  AppendLine(depth, "+ " + (name.empty() ? "(unnamed set)" : name), out);
  if (const cf::Array* children = set->GetArray("Children")) {
    for (const cf::Ref<cf::Object>& child : *children)
      AppendSet(*child, depth + 1, out);
  }
  if (const cf::Array* fonts = set->GetArray("Fonts")) {
    for (const cf::Ref<cf::Object>& font : *fonts)
      AppendFont(*font, depth + 1, out);
  }
}

void AppendJson(const cf::Object& value, int depth, std::string* out) {
  const std::string inner(static_cast<size_t>(depth + 1) * 2, ' ');
  const std::string outer(static_cast<size_t>(depth) * 2, ' ');
  switch (value.type()) {
    case cf::TypeID::kString:
      out->append(JsonString(value.AsString()->utf8()));
      return;
    case cf::TypeID::kBoolean:
      out->append(value.AsBoolean()->value() ? "true" : "false");
      return;
    case cf::TypeID::kURL:
      out->append(JsonString(value.AsURL()->AbsoluteString()));
      return;
    case cf::TypeID::kArray: {
      const cf::Array& array = *value.AsArray();
      if (array.empty()) {
        out->append("[]");
        return;
      }
      out->append("[\n");
      for (size_t i = 0; i < array.size(); ++i) {
        out->append(inner);
        AppendJson(*array.at(i), depth + 1, out);
        out->append(i + 1 < array.size() ? ",\n" : "\n");
      }
      out->append(outer + "]");
      return;
    }
    case cf::TypeID::kDictionary: {
      const cf::Dictionary& dictionary = *value.AsDictionary();
      if (dictionary.empty()) {
        out->append("{}");
        return;
      }
      out->append("{\n");
      size_t left = dictionary.size();
      for (const cf::Dictionary::Entry& entry : dictionary) {
        out->append(inner + JsonString(entry.key) + ": ");
        AppendJson(*entry.value, depth + 1, out);
        out->append(--left > 0 ? ",\n" : "\n");
      }
      out->append(outer + "}");
      return;
    }
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
