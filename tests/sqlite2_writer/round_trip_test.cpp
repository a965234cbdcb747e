// What the writer produces, read back through the engine's C interface:
// every row, in rowid order, in every tree shape and byte order, and
// found again through its index.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sqlite2/sqlite.h"
#include "tests/sqlite2_writer/database.h"
#include "tests/sqlite2_writer/scratch_dir.h"

namespace sqlite2::writer {
namespace {

using Rows = std::vector<std::vector<Value>>;

int Collect(void* arg, int argc, char** argv, char**) {
  auto* rows = static_cast<Rows*>(arg);
  std::vector<Value>& row = rows->emplace_back();
  for (int i = 0; i < argc; ++i)
    row.push_back(argv[i] ? Value(argv[i]) : std::nullopt);
  return 0;
}

Rows Select(sqlite* db, const std::string& sql) {
  Rows rows;
  char* error = nullptr;
  const int rc = sqlite_exec(db, sql.c_str(), Collect, &rows, &error);
  EXPECT_EQ(rc, SQLITE_OK) << sql << ": " << (error ? error : "");
  sqlite_freemem(error);
  return rows;
}

struct Sample {
  Rows expected;  // as SELECT * returns them, in rowid order
  Database db;

  explicit Sample(Options options) : db(options) {
    EXPECT_TRUE(db.CreateTable("CREATE TABLE t(id INTEGER PRIMARY KEY, tag TEXT, body)").ok());
    EXPECT_TRUE(db.CreateIndex("CREATE INDEX t_tag ON t(tag, body)").ok());
    auto add = [&](std::optional<int32_t> id, Value tag, Value body) {
      const Value id_text = id ? Value(std::to_string(*id)) : std::nullopt;
      EXPECT_TRUE(db.Insert("t", {id_text, tag, body}).ok());
      expected.push_back({id_text, tag, body});
    };
    add(-2147483647 - 1, "t", std::nullopt);
    add(-5, "t", "");
    add(0, std::nullopt, "zero");
    // Body sizes at which the record's offsets widen to 2 and to 3 bytes.
    for (int32_t size : {248, 249, 65524, 65525, 70000})
      add(size, "t", std::string(size, 'v'));
    for (int32_t id = 100000; id < 103000; ++id) {
      add(id, std::string("k").append(std::to_string(id % 97)),
          id % 5 == 0 ? std::string(300 + id % 900, 'x') : "");
    }
    add(2147483647, "last", "max");
  }
};

class RoundTripTest : public ::testing::TestWithParam<std::tuple<ByteOrder, double, bool>> {};

TEST_P(RoundTripTest, TheEngineReadsBackEveryRowAndFindsItByIndex) {
  const auto [order, fill, scatter] = GetParam();
  Options options;
  options.byte_order = order;
  options.layout = {.page_fill = fill, .scatter_cells = scatter};
  Sample sample(options);

  testing::ScratchDir dir;
  const std::string path = dir.File("round_trip.db");
  ASSERT_TRUE(sample.db.WriteFile(path).ok());
  char* error = nullptr;
  sqlite* db = sqlite_open(path.c_str(), 0, &error);
  ASSERT_NE(db, nullptr) << error;

  EXPECT_EQ(Select(db, "SELECT * FROM t"), sample.expected);
  // The index seek finds each tag's rows; equal (tag, body) keys come out
  // in rowid order, and bodies sort NULL, numbers, then text.
  const Rows k5 = Select(db, "SELECT * FROM t WHERE tag = 'k5'");
  EXPECT_EQ(k5.size(), 3000u / 97 + 1);
  for (size_t i = 1; i < k5.size(); ++i) {
    EXPECT_LE(std::make_pair(*k5[i - 1][2], std::stoi(*k5[i - 1][0])),
              std::make_pair(*k5[i][2], std::stoi(*k5[i][0])));
  }
  EXPECT_EQ(Select(db, "SELECT * FROM t WHERE tag = 'last'"), (Rows{sample.expected.back()}));
  sqlite_close(db);
}

INSTANTIATE_TEST_SUITE_P(
    Layouts, RoundTripTest,
    ::testing::Combine(::testing::Values(ByteOrder::kLittleEndian, ByteOrder::kBigEndian),
                       ::testing::Values(1.0, 0.0), ::testing::Bool()),
    [](const auto& info) {
      return std::string(std::get<0>(info.param) == ByteOrder::kBigEndian ? "big" : "little") +
             (std::get<1>(info.param) == 0.0 ? "_deep" : "_packed") +
             (std::get<2>(info.param) ? "_scattered" : "");
    });

}  // namespace
}  // namespace sqlite2::writer
