#include "cli/json_row.h"

#include <cstdint>
#include <cstdio>

namespace {

bool IsContinuation(uint8_t byte) {
  return (byte & 0xc0) == 0x80;
}

// The length of the well-formed UTF-8 sequence at `pos`, or 0 when none
// starts there (overlong forms, surrogates and values past U+10FFFF are
// not well-formed).
size_t Utf8SequenceLength(std::string_view s, size_t pos) {
  const auto at = [&](size_t i) { return static_cast<uint8_t>(s[pos + i]); };
  const uint8_t lead = at(0);
  size_t length = 0;
  uint8_t low = 0x80, high = 0xbf;  // the range of the second byte
  if (lead < 0x80)
    return 1;
  if (lead >= 0xc2 && lead <= 0xdf) {
    length = 2;
  } else if (lead >= 0xe0 && lead <= 0xef) {
    length = 3;
    if (lead == 0xe0)
      low = 0xa0;
    if (lead == 0xed)
      high = 0x9f;
  } else if (lead >= 0xf0 && lead <= 0xf4) {
    length = 4;
    if (lead == 0xf0)
      low = 0x90;
    if (lead == 0xf4)
      high = 0x8f;
  } else {
    return 0;
  }
  if (pos + length > s.size() || at(1) < low || at(1) > high)
    return 0;
  for (size_t i = 2; i < length; ++i) {
    if (!IsContinuation(at(i)))
      return 0;
  }
  return length;
}

void AppendEscaped(char c, std::string* out) {
  switch (c) {
    case '"':
      out->append("\\\"");
      return;
    case '\\':
      out->append("\\\\");
      return;
    case '\n':
      out->append("\\n");
      return;
    case '\r':
      out->append("\\r");
      return;
    case '\t':
      out->append("\\t");
      return;
    case '\b':
      out->append("\\b");
      return;
    case '\f':
      out->append("\\f");
      return;
    default:
      break;
  }
  if (static_cast<uint8_t>(c) < 0x20) {
    char buffer[8];
    std::snprintf(buffer, sizeof buffer, "\\u%04x", static_cast<unsigned>(c));
    out->append(buffer);
  } else {
    out->push_back(c);
  }
}

}  // namespace

std::string JsonString(std::string_view bytes) {
  std::string out = "\"";
  for (size_t pos = 0; pos < bytes.size();) {
    const size_t length = Utf8SequenceLength(bytes, pos);
    if (length == 0) {
      // The backslash of \xHH is itself escaped in JSON.
      char buffer[8];
      std::snprintf(buffer, sizeof buffer, "\\\\x%02x", static_cast<uint8_t>(bytes[pos]));
      out.append(buffer);
      ++pos;
    } else if (length == 1) {
      AppendEscaped(bytes[pos++], &out);
    } else {
      out.append(bytes.substr(pos, length));
      pos += length;
    }
  }
  out.push_back('"');
  return out;
}

std::string JsonRow(int argc, char** argv, char** column_names) {
  std::string out = "[";
  for (int i = 0; i < argc; ++i) {
    if (i > 0)
      out.append(", ");
    out.append("[" + JsonString(column_names[i]) + ", ");
    out.append(argv[i] != nullptr ? JsonString(argv[i]) : "null");
    out.append("]");
  }
  out.append("]");
  return out;
}
