#include "tests/sqlite2/fixture_dump.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "cli/json_row.h"

namespace sqlite2::testing {
namespace {

void AppendUtf8(uint32_t code, std::string* out) {
  if (code < 0x80) {
    out->push_back(static_cast<char>(code));
  } else if (code < 0x800) {
    out->push_back(static_cast<char>(0xc0 | (code >> 6)));
    out->push_back(static_cast<char>(0x80 | (code & 0x3f)));
  } else {
    out->push_back(static_cast<char>(0xe0 | (code >> 12)));
    out->push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3f)));
    out->push_back(static_cast<char>(0x80 | (code & 0x3f)));
  }
}

int HexValue(char c) {
  if (c >= '0' && c <= '9')
    return c - '0';
  if (c >= 'a' && c <= 'f')
    return c - 'a' + 10;
  if (c >= 'A' && c <= 'F')
    return c - 'A' + 10;
  return -1;
}

}  // namespace

std::vector<std::string> FixtureNames() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(QBFA_FIXTURES_DIR)) {
    if (entry.path().extension() == ".db")
      names.push_back(entry.path().stem().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string FixturePath(const std::string& name, const std::string& suffix) {
  return std::string(QBFA_FIXTURES_DIR) + "/" + name + suffix;
}

std::vector<std::string> ReadLines(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in)
    throw std::runtime_error("cannot read " + path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);)
    lines.push_back(line);
  return lines;
}

std::string DecodeJsonString(std::string_view json, size_t* pos) {
  if (*pos >= json.size() || json[*pos] != '"')
    throw std::runtime_error("no JSON string at " + std::string(json.substr(*pos, 20)));
  std::string text;
  for (++*pos; *pos < json.size() && json[*pos] != '"'; ++*pos) {
    char c = json[*pos];
    if (c != '\\') {
      text.push_back(c);
      continue;
    }
    c = json[++*pos];
    switch (c) {
      case 'n':
        text.push_back('\n');
        break;
      case 't':
        text.push_back('\t');
        break;
      case 'r':
        text.push_back('\r');
        break;
      case 'b':
        text.push_back('\b');
        break;
      case 'f':
        text.push_back('\f');
        break;
      case 'u':
        AppendUtf8(
            static_cast<uint32_t>(std::stoul(std::string(json.substr(*pos + 1, 4)), nullptr, 16)),
            &text);
        *pos += 4;
        break;
      default:
        text.push_back(c);
        break;
    }
  }
  ++*pos;
  // Undo the backslashreplace: "\xHH" is the byte HH.
  std::string bytes;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 3 < text.size() && text[i + 1] == 'x' &&
        HexValue(text[i + 2]) >= 0 && HexValue(text[i + 3]) >= 0) {
      bytes.push_back(static_cast<char>(HexValue(text[i + 2]) * 16 + HexValue(text[i + 3])));
      i += 3;
    } else {
      bytes.push_back(text[i]);
    }
  }
  return bytes;
}

std::string RawField(std::string_view line, std::string_view key) {
  const std::string marker = std::string(1, '"').append(key).append("\": ");
  const size_t start = line.find(marker);
  if (start == std::string_view::npos)
    return "";
  size_t pos = start + marker.size();
  const size_t begin = pos;
  int depth = 0;
  for (; pos < line.size(); ++pos) {
    const char c = line[pos];
    if (c == '"') {
      DecodeJsonString(line, &pos);
      --pos;
    } else if (c == '[' || c == '{') {
      ++depth;
    } else if (c == ']' || c == '}') {
      if (depth-- == 0)
        break;
    } else if (c == ',' && depth == 0) {
      break;
    }
  }
  return std::string(line.substr(begin, pos - begin));
}

FixtureDump LoadDump(const std::string& name) {
  const std::vector<std::string> lines = ReadLines(FixturePath(name, ".dump.jsonl"));
  FixtureDump dump;
  dump.schema_line = lines.at(0);
  TableDump table;
  for (size_t i = 1; i < lines.size(); ++i) {
    size_t pos = std::string_view("{\"table\": ").size();
    table.name = DecodeJsonString(lines[i], &pos);
    if (lines[i].find("\"row\": ") != std::string::npos) {
      table.row_lines.push_back(lines[i]);
      continue;
    }
    table.status_line = lines[i];
    const std::string outcome = RawField(lines[i], "outcome");
    table.outcome = outcome.substr(1, outcome.size() - 2);
    dump.tables.push_back(std::move(table));
    table = TableDump();
  }
  return dump;
}

std::string RowLine(std::string_view table, const std::string& row_json) {
  return "{\"table\": " + JsonString(table) + ", \"row\": " + row_json + "}";
}

std::string StatusLine(std::string_view table, int rc, const std::optional<std::string>& error,
                       size_t rows) {
  return "{\"table\": " + JsonString(table) + ", \"rc\": " + std::to_string(rc) +
         ", \"error\": " + (error ? JsonString(*error) : "null") +
         ", \"rows\": " + std::to_string(rows) + ", \"outcome\": \"" + (rc == 0 ? "ok" : "error") +
         "\"}";
}

bool LibraryDidNotFinish(const std::string& outcome) {
  return outcome == "hang" || outcome == "crash" || outcome == "capped" || outcome == "skipped";
}

}  // namespace sqlite2::testing
