#include "tests/platform/random_plist.h"

namespace cf {
namespace {

void AppendUtf8(char32_t point, std::string* out) {
  if (point < 0x80) {
    *out += static_cast<char>(point);
  } else if (point < 0x800) {
    *out += static_cast<char>(0xC0 | point >> 6);
    *out += static_cast<char>(0x80 | (point & 0x3F));
  } else if (point < 0x10000) {
    *out += static_cast<char>(0xE0 | point >> 12);
    *out += static_cast<char>(0x80 | (point >> 6 & 0x3F));
    *out += static_cast<char>(0x80 | (point & 0x3F));
  } else {
    *out += static_cast<char>(0xF0 | point >> 18);
    *out += static_cast<char>(0x80 | (point >> 12 & 0x3F));
    *out += static_cast<char>(0x80 | (point >> 6 & 0x3F));
    *out += static_cast<char>(0x80 | (point & 0x3F));
  }
}

}  // namespace

Ref<Object> RandomPlist::Tree(int budget) {
  return Value(budget, 0);
}

Ref<Object> RandomPlist::Chain(int depth) {
  Ref<Object> inner = Text(8);
  for (int i = 0; i < depth; ++i) {
    if (Chance(2)) {
      Ref<Array> array = Array::Create();
      array->Append(std::move(inner));
      if (Chance(2))
        array->Append(Text(4));
      inner = std::move(array);
    } else {
      Ref<Dictionary> dictionary = Dictionary::Create();
      dictionary->Set(Key(), std::move(inner));
      inner = std::move(dictionary);
    }
  }
  return inner;
}

Ref<Object> RandomPlist::Value(int budget, int depth) {
  const int kind = budget <= 1 || depth >= 12 ? Below(3) : Below(5);
  if (kind < 2)
    return Text(16);
  if (kind == 2)
    return Chance(2) ? Boolean::True() : Boolean::False();
  const int count = Chance(8) ? 17 + Below(60) : Below(6);
  if (kind == 3) {
    Ref<Array> array = Array::Create();
    for (int i = 0; i < count; ++i)
      array->Append(Value(budget / (count + 1), depth + 1));
    return array;
  }
  Ref<Dictionary> dictionary = Dictionary::Create();
  for (int i = 0; i < count; ++i)
    dictionary->Set(Key(), Value(budget / (count + 1), depth + 1));
  return dictionary;
}

std::string RandomPlist::Key() {
  static const char* const kNames[] = {
      "SetName", "Fonts", "Children", "HasParents", "kQBFontInfoFamilyName", "kQBFontInfoFilePath"};
  return Chance(2) ? kNames[Below(6)] : RandomText(12);
}

std::string RandomPlist::RandomText(int longest) {
  std::string text;
  for (int i = Below(longest + 1); i > 0; --i) {
    char32_t point;
    switch (Below(8)) {
      case 0:
        point = " \t\r\n<>&\"']"[Below(10)];
        break;
      case 1:
        point = 1 + Below(0x1F);  // control characters, written raw
        break;
      case 2:
        point = 0x80 + Below(0xD800 - 0x80);
        break;
      case 3:
        point = 0xE000 + Below(0x10000 - 0xE000);
        break;
      case 4:
        point = 0x10000 + Below(0x110000 - 0x10000);  // astral
        break;
      default:
        point = 0x20 + Below(0x5F);
        break;
    }
    AppendUtf8(point, &text);
  }
  return text;
}

}  // namespace cf
