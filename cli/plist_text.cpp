#include "cli/plist_text.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <ctime>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/libplist_children.h"

namespace {

// Far beyond any real preferences; keeps the recursion within the stack.
constexpr int kMaxLevel = 100;
// libplist counts dates in seconds from 2001-01-01, the platform's epoch.
constexpr int64_t kEpochOffset = 978307200;

bool IsPlainWord(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           std::string_view("_$./:-").find(c) != std::string_view::npos;
  });
}

void AppendQuoted(std::string& out, std::string_view text) {
  if (IsPlainWord(text)) {
    out += text;
    return;
  }
  out += '"';
  for (char c : text) {
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\t':
        out += "\\t";
        break;
      default:
        if (static_cast<unsigned char>(c) < 0x20) {
          out += '\\';
          for (int shift = 6; shift >= 0; shift -= 3)
            out += static_cast<char>('0' + ((c >> shift) & 7));
        } else {
          out += c;
        }
    }
  }
  out += '"';
}

std::string_view StringOf(plist_t node) {
  uint64_t length = 0;
  const char* text = plist_get_string_ptr(node, &length);
  return text == nullptr ? std::string_view() : std::string_view(text, static_cast<size_t>(length));
}

std::string Real(double value) {
  char buffer[64];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  return std::string(buffer, result.ptr);
}

std::string Date(plist_t node) {
  int32_t seconds = 0, microseconds = 0;
  plist_get_date_val(node, &seconds, &microseconds);
  time_t unix_time = static_cast<time_t>(seconds + kEpochOffset);
  std::tm utc{};
  gmtime_r(&unix_time, &utc);
  char buffer[64];
  strftime(buffer, sizeof buffer, "%Y-%m-%d %H:%M:%S +0000", &utc);
  return buffer;
}

std::string Data(plist_t node) {
  uint64_t length = 0;
  const char* bytes = plist_get_data_ptr(node, &length);
  std::string text = "{length = " + std::to_string(length) + ", bytes = 0x";
  for (uint64_t i = 0; i < length; ++i) {
    auto byte = static_cast<unsigned char>(bytes[i]);
    text += "0123456789abcdef"[byte >> 4];
    text += "0123456789abcdef"[byte & 0xF];
  }
  return text + "}";
}

std::vector<std::pair<std::string, plist_t>> SortedEntries(plist_t dictionary) {
  std::vector<std::pair<std::string, plist_t>> entries;
  ForEachChild(dictionary,
               [&](const char* key, plist_t value) { entries.emplace_back(key, value); });
  std::sort(entries.begin(), entries.end(),
            [](const auto& a, const auto& b) { return a.first < b.first; });
  return entries;
}

bool Append(std::string& out, plist_t node, int level) {
  if (level > kMaxLevel)
    return false;
  const std::string indent(4 * static_cast<size_t>(level), ' ');
  const std::string inner = indent + "    ";
  switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
      uint8_t flag = 0;
      plist_get_bool_val(node, &flag);
      out += flag ? "1" : "0";
      return true;
    }
    case PLIST_UINT: {
      // Stored in 64 unsigned bits; the platform's integers are signed.
      uint64_t number = 0;
      plist_get_uint_val(node, &number);
      out += std::to_string(static_cast<int64_t>(number));
      return true;
    }
    case PLIST_REAL: {
      double number = 0;
      plist_get_real_val(node, &number);
      out += Real(number);
      return true;
    }
    case PLIST_STRING:
      AppendQuoted(out, StringOf(node));
      return true;
    case PLIST_DATE:
      out += '"' + Date(node) + '"';
      return true;
    case PLIST_DATA:
      out += Data(node);
      return true;
    case PLIST_ARRAY: {
      out += "(\n";
      const uint32_t size = plist_array_get_size(node);
      for (uint32_t i = 0; i < size; ++i) {
        out += inner;
        if (!Append(out, plist_array_get_item(node, i), level + 1))
          return false;
        out += i + 1 < size ? ",\n" : "\n";
      }
      out += indent + ")";
      return true;
    }
    case PLIST_DICT: {
      out += "{\n";
      for (const auto& [key, value] : SortedEntries(node)) {
        out += inner;
        AppendQuoted(out, key);
        out += " = ";
        if (!Append(out, value, level + 1))
          return false;
        out += ";\n";
      }
      out += indent + "}";
      return true;
    }
    default:
      out += "<unprintable>";
      return true;
  }
}

}  // namespace

std::optional<std::string> PlistText(plist_t value) {
  if (plist_get_node_type(value) == PLIST_STRING)
    return std::string(StringOf(value));
  std::string out;
  if (!Append(out, value, 0))
    return std::nullopt;
  return out;
}
