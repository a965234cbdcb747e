// Walks every database written by the real library and checks what the
// format layer reads against the library's own dumps: sqlite_master row by
// row, every table row by row (the rowid standing in for the NULL slot of
// an INTEGER PRIMARY KEY), where a damaged table stops, and that the
// indices agree with their tables.
#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include "sqlite2/format/index_cursor.h"
#include "sqlite2/format/keys.h"
#include "sqlite2/format/pager.h"
#include "sqlite2/format/record.h"
#include "sqlite2/format/table_cursor.h"

namespace sqlite2::format {
namespace {

// Length of the well-formed UTF-8 sequence at s[i], or 0.
size_t Utf8SequenceLength(std::string_view s, size_t i) {
  const auto byte = [&](size_t k) { return i + k < s.size() ? uint8_t(s[i + k]) : 0; };
  const auto cont = [&](size_t k, uint8_t lo = 0x80, uint8_t hi = 0xbf) {
    return byte(k) >= lo && byte(k) <= hi;
  };
  const uint8_t b = byte(0);
  if (b < 0x80) {
    return 1;
  }
  if (b >= 0xc2 && b <= 0xdf) {
    return cont(1) ? 2 : 0;
  }
  if (b >= 0xe0 && b <= 0xef) {
    const bool second = b == 0xe0 ? cont(1, 0xa0) : b == 0xed ? cont(1, 0x80, 0x9f) : cont(1);
    return second && cont(2) ? 3 : 0;
  }
  if (b >= 0xf0 && b <= 0xf4) {
    const bool second = b == 0xf0 ? cont(1, 0x90) : b == 0xf4 ? cont(1, 0x80, 0x8f) : cont(1);
    return second && cont(2) && cont(3) ? 4 : 0;
  }
  return 0;
}

// A value as the dumps write it: a JSON string of the bytes decoded as
// UTF-8, each byte outside a well-formed sequence shown as \xHH; or null.
std::string Json(std::optional<std::string_view> value) {
  if (!value) {
    return "null";
  }
  static constexpr char kHex[] = "0123456789abcdef";
  std::string out = "\"";
  const std::string_view s = *value;
  for (size_t i = 0; i < s.size();) {
    const size_t n = Utf8SequenceLength(s, i);
    const auto c = static_cast<uint8_t>(s[i]);
    if (n == 0) {
      out += std::string("\\\\x") + kHex[c >> 4] + kHex[c & 15];
    } else if (c == '"' || c == '\\') {
      out += '\\', out += static_cast<char>(c);
    } else if (c == '\n') {
      out += "\\n";
    } else if (c == '\r') {
      out += "\\r";
    } else if (c == '\t') {
      out += "\\t";
    } else if (c < 0x20) {
      out += std::string("\\u00") + kHex[c >> 4] + kHex[c & 15];
    } else {
      out.append(s.substr(i, std::max<size_t>(n, 1)));
    }
    i += std::max<size_t>(n, 1);
  }
  return out + "\"";
}

// The scalar tokens of a JSON line, strings kept in their escaped form.
std::vector<std::string> Tokens(std::string_view line) {
  std::vector<std::string> tokens;
  for (size_t i = 0; i < line.size(); ++i) {
    if (line[i] == '"') {
      size_t end = i + 1;
      while (line[end] != '"') {
        end += line[end] == '\\' ? 2 : 1;
      }
      tokens.emplace_back(line.substr(i, end + 1 - i));
      i = end;
    } else if (std::isalnum(static_cast<unsigned char>(line[i])) || line[i] == '-') {
      size_t end = i;
      while (end < line.size() && std::isalnum(static_cast<unsigned char>(line[end]))) {
        ++end;
      }
      tokens.emplace_back(line.substr(i, std::max<size_t>(end - i, 1)));
      i = end - 1;
    }
  }
  return tokens;
}

size_t OwnColumnCount(const Record& record) {
  if (record.size == 0) {
    return 0;
  }
  const size_t width = RecordOffsetWidth(record.size);
  size_t first = 0;
  for (size_t i = 0; i < width && i < record.bytes.size(); ++i) {
    first |= size_t{static_cast<uint8_t>(record.bytes[i])} << (8 * i);
  }
  return first / width - 1;
}

struct MasterRow {
  RecordValues values;  // type, name, tbl_name, rootpage, sql
  std::string record;   // backs `values`
};

class FixtureReader : public ::testing::Test {
 protected:
  void Open(const std::string& name) {
    std::ifstream dump(std::string(QBFA_FIXTURES_DIR) + "/" + name + ".dump.jsonl");
    for (std::string line; std::getline(dump, line);) {
      dump_.push_back(line);
    }
    ASSERT_FALSE(dump_.empty());
    ASSERT_TRUE(
        FilePageSource::Open(std::string(QBFA_FIXTURES_DIR) + "/" + name + ".db", &source_).ok());
    pager_ = std::make_unique<Pager>(source_.get());
  }

  // Reads sqlite_master as opening the database does.
  Status ReadMaster(std::vector<MasterRow>* rows) {
    Status status = pager_->Refresh();
    TableCursor cursor(pager_.get(), 2);
    bool has_row = true;
    while (status.ok() && (status = cursor.Next(&has_row)).ok() && has_row) {
      rows->emplace_back().record = cursor.record().bytes;
    }
    // Decoded only once `rows` stops growing, since values point into records.
    for (size_t i = 0; status.ok() && i < rows->size(); ++i) {
      status = DecodeRecord((*rows)[i].record, 5, &(*rows)[i].values);
    }
    return status.ok() ? RequireUpgradedFormat(pager_->header()) : status;
  }

  PageNumber Root(const MasterRow& row) {
    PageNumber root = 0;
    const std::string_view text = row.values[3].value_or("");
    std::from_chars(text.data(), text.data() + text.size(), root);
    return root;
  }

  std::map<std::string_view, PageNumber> TableRoots(const std::vector<MasterRow>& master) {
    std::map<std::string_view, PageNumber> roots;
    for (const MasterRow& row : master) {
      if (row.values[0] == "table") {
        roots[*row.values[1]] = Root(row);
      }
    }
    return roots;
  }

  std::vector<std::string> dump_;
  std::unique_ptr<FilePageSource> source_;
  std::unique_ptr<Pager> pager_;
};

class FixtureTest : public FixtureReader, public ::testing::WithParamInterface<std::string> {
 protected:
  void SetUp() override { Open(GetParam()); }
};

class IndexedFixtureTest : public FixtureReader {
 protected:
  void SetUp() override { Open("indexed"); }
};

TEST_P(FixtureTest, SchemaReadsLikeTheLibrary) {
  std::vector<MasterRow> rows;
  const Status status = ReadMaster(&rows);
  std::string line;
  if (!status.ok()) {
    line = R"({"schema": null, "stage": "open", "rc": null, "error": )" + Json(status.message()) +
           R"(, "outcome": "error"})";
  } else {
    static constexpr const char* kColumns[] = {"type", "name", "tbl_name", "rootpage", "sql"};
    line = R"({"schema": [)";
    for (size_t r = 0; r < rows.size(); ++r) {
      line += r ? ", [" : "[";
      for (size_t c = 0; c < 5; ++c) {
        line += std::string(c ? ", " : "") + "[\"" + kColumns[c] + "\", " +
                Json(rows[r].values[c]) + "]";
      }
      line += "]";
    }
    line += R"(], "rc": 0, "error": null, "outcome": "ok"})";
  }
  EXPECT_EQ(line, dump_[0]);
}

TEST_P(FixtureTest, TablesReadLikeTheLibrary) {
  std::vector<MasterRow> master;
  if (!ReadMaster(&master).ok()) {
    GTEST_SKIP() << "the database does not open";
  }
  std::map<std::string, std::vector<std::vector<std::string>>> expected_rows;
  std::map<std::string, std::string> expected_status;
  for (size_t i = 1; i < dump_.size(); ++i) {
    const std::vector<std::string> tokens = Tokens(dump_[i]);
    if (tokens[2] == "\"row\"") {
      std::vector<std::string> values;
      for (size_t k = 4; k < tokens.size(); k += 2) {
        values.push_back(tokens[k]);
      }
      expected_rows[tokens[1]].push_back(values);
    } else {
      expected_status[tokens[1]] = dump_[i];
    }
  }

  for (const MasterRow& table : master) {
    if (table.values[0] != "table") {
      continue;
    }
    const std::string name = Json(table.values[1]);
    SCOPED_TRACE(name);
    const auto& want = expected_rows[name];
    TableCursor cursor(pager_.get(), Root(table));
    size_t count = 0;
    Status status;
    for (bool has_row; (status = cursor.Next(&has_row)).ok() && has_row; ++count) {
      RecordValues values;
      status = DecodeRecord(cursor.record(), OwnColumnCount(cursor.record()), &values);
      if (!status.ok()) {
        break;
      }
      ASSERT_LT(count, want.size());
      ASSERT_EQ(values.size(), want[count].size());
      for (size_t c = 0; c < values.size(); ++c) {
        // An INTEGER PRIMARY KEY's slot is NULL; the library shows the rowid.
        const std::string got = values[c]                  ? Json(values[c])
                                : want[count][c] == "null" ? "null"
                                                           : Json(std::to_string(cursor.rowid()));
        EXPECT_EQ(got, want[count][c]) << "row " << count << " column " << c;
      }
    }
    // Where the library hangs or crashes, the reader must stop with a
    // malformed-file error after the same rows.
    std::string want_status = expected_status[name];
    std::smatch m;
    if (std::regex_search(want_status, m,
                          std::regex(R"re("rows": (\d+), "outcome": "(hang|crash)")re"))) {
      want_status = "{\"table\": " + name +
                    R"(, "rc": 11, "error": "database disk image is malformed", "rows": )" +
                    m[1].str() + R"(, "outcome": "error"})";
    }
    const std::string got_status =
        "{\"table\": " + name + ", \"rc\": " + std::to_string(status.rc) +
        ", \"error\": " + (status.ok() ? "null" : Json(status.message())) +
        ", \"rows\": " + std::to_string(count) + ", \"outcome\": \"" +
        (status.ok() ? "ok" : "error") + "\"}";
    EXPECT_EQ(got_status, want_status);
  }
}

// The only fixture with intact indices; both are on INTEGER columns. Each
// entry's key must be the one rebuilt from the row a rowid seek finds, and a
// prefix seek on an entry's fields must yield exactly the entries sharing them.
TEST_F(IndexedFixtureTest, IndicesAgreeWithTheirRows) {
  const std::map<std::string_view, size_t> kIndexedColumn = {{"fonts_id_idx", 0},
                                                             {"rel_parent_idx", 1}};
  std::vector<MasterRow> master;
  ASSERT_TRUE(ReadMaster(&master).ok());
  const auto table_roots = TableRoots(master);
  size_t checked = 0;
  for (const MasterRow& index : master) {
    if (index.values[0] != "index") {
      continue;
    }
    const size_t column = kIndexedColumn.at(*index.values[1]);
    IndexCursor entries(pager_.get(), Root(index));
    IndexCursor seek(pager_.get(), Root(index));
    TableCursor table(pager_.get(), table_roots.at(*index.values[2]));
    std::string run_fields;
    std::vector<int32_t> run;  // rowids of the entries sharing `run_fields`
    const auto check_run = [&] {
      ASSERT_TRUE(seek.SeekPrefix(run_fields).ok());
      std::vector<int32_t> sought;
      for (bool has_entry; seek.Next(&has_entry).ok() && has_entry;) {
        sought.push_back(seek.rowid());
      }
      EXPECT_EQ(sought, run) << Json(run_fields);
    };
    for (bool has_entry; entries.Next(&has_entry).ok() && has_entry; ++checked) {
      bool found = false;
      ASSERT_TRUE(table.SeekRowid(entries.rowid(), &found).ok());
      ASSERT_TRUE(found);
      RecordValues values;
      ASSERT_TRUE(DecodeRecord(table.record(), OwnColumnCount(table.record()), &values).ok());
      std::string fields;
      AppendIndexField(values[column], /*text_column=*/false, &fields);
      EXPECT_EQ(fields + EncodeRowidKey(entries.rowid()), entries.key())
          << Json(values[column]) << " in row " << entries.rowid();
      if (fields != run_fields && !run.empty()) {
        check_run();
        run.clear();
      }
      run_fields = fields;
      run.push_back(entries.rowid());
    }
    check_run();
  }
  EXPECT_EQ(checked, 242u + 331u);
}

std::vector<std::string> FixtureNames() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(QBFA_FIXTURES_DIR)) {
    if (entry.path().extension() == ".db") {
      names.push_back(entry.path().stem());
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

INSTANTIATE_TEST_SUITE_P(AllFixtures, FixtureTest, ::testing::ValuesIn(FixtureNames()),
                         [](const auto& info) { return info.param; });

}  // namespace
}  // namespace sqlite2::format
