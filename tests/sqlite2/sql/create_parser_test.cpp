#include "sqlite2/sql/create_parser.h"

#include <gtest/gtest.h>

#include <string>
#include <variant>
#include <vector>

#include "sqlite2/sql/type_class.h"

namespace sqlite2::sql {
namespace {

TableDefinition Table(const std::string& sql) {
  Definition definition = ParseCreateStatement(sql);
  const auto* table = std::get_if<TableDefinition>(&definition);
  EXPECT_NE(table, nullptr) << sql;
  return table != nullptr ? *table : TableDefinition{};
}

TEST(TypeClassTest, TextWhenTheTypeNamesTextAnywhere) {
  for (const char* text : {"TEXT", "VARCHAR(30)", "NVARCHAR", "CHAR (3)", "CHARACTER", "CLOB",
                           "BLOB", "varchar", "LONGTEXT",
                           // The first letter matches by OR-ing 0x60.
                           "4EXT", "#HAR", "\"LOB"})
    EXPECT_TRUE(IsTextType(text)) << text;
  for (const char* numeric :
       {"", "INTEGER", "INT", "NUMERIC", "FLOAT", "REAL", "BOOLEAN", "TIMESTAMP", "STRING", "TEX"})
    EXPECT_FALSE(IsTextType(numeric)) << numeric;
  EXPECT_EQ(SqueezeType("VARCHAR (20)"), "VARCHAR(20)");
}

TEST(CreateParserTest, ColumnsTypesAndClasses) {
  const TableDefinition t = Table(
      "CREATE TABLE \"Odd Name\"('col one' text, [col two] INT, \"c3\" CHAR (3) NOT NULL "
      "DEFAULT 'x', d, e INTEGER COLLATE TEXT, f TEXT COLLATE NUMERIC, g VARCHAR(10, 2) CHECK "
      "(g <> '') REFERENCES other(id) ON DELETE CASCADE, UNIQUE('col one'))");
  EXPECT_EQ(t.name, "Odd Name");
  std::vector<std::string> names, types;
  std::vector<bool> text;
  for (const ColumnDefinition& c : t.columns) {
    names.push_back(c.name);
    types.push_back(c.type.value_or("(none)"));
    text.push_back(c.text);
  }
  EXPECT_EQ(names, (std::vector<std::string>{"col one", "col two", "c3", "d", "e", "f", "g"}));
  EXPECT_EQ(types, (std::vector<std::string>{"text", "INT", "CHAR(3)", "(none)", "INTEGER", "TEXT",
                                             "VARCHAR(10,2)"}));
  EXPECT_EQ(text, (std::vector<bool>{true, false, true, false, true, false, true}));
  ASSERT_EQ(t.automatic_indices.size(), 1u);
  EXPECT_EQ(t.automatic_indices[0].columns, std::vector<size_t>{0});
}

TEST(CreateParserTest, RowidAliasOnlyForASingleIntegerKey) {
  const struct {
    std::string sql;
    std::optional<size_t> rowid_column;
    size_t automatic_indices;
  } cases[] = {
      {"CREATE TABLE t(id INTEGER PRIMARY KEY, x)", 0, 0},
      {"create table t(id integer primary key)", 0, 0},
      {"CREATE TABLE t(x, id INTEGER, PRIMARY KEY(id))", 1, 0},
      {"CREATE TABLE t(\"id\" INTEGER PRIMARY KEY)", 0, 0},
      {"CREATE TABLE t(id INT PRIMARY KEY)", std::nullopt, 1},
      {"CREATE TABLE t(id INTEGER(10) PRIMARY KEY)", std::nullopt, 1},
      {"CREATE TABLE t(a INTEGER, b INTEGER, PRIMARY KEY(a, b))", std::nullopt, 1},
  };
  for (const auto& c : cases) {
    const TableDefinition t = Table(c.sql);
    EXPECT_EQ(t.rowid_column, c.rowid_column) << c.sql;
    EXPECT_EQ(t.automatic_indices.size(), c.automatic_indices) << c.sql;
  }
}

TEST(CreateParserTest, AutomaticIndicesInConstraintOrder) {
  const TableDefinition t = Table(
      "CREATE TABLE u(a TEXT UNIQUE, b NUMERIC, c UNIQUE ON CONFLICT REPLACE, "
      "PRIMARY KEY(b), UNIQUE (c, a))");
  std::vector<std::vector<size_t>> columns;
  for (const AutomaticIndex& index : t.automatic_indices)
    columns.push_back(index.columns);
  EXPECT_EQ(columns, (std::vector<std::vector<size_t>>{{0}, {2}, {1}, {2, 0}}));
  EXPECT_TRUE(t.automatic_indices[1].replace);
  EXPECT_EQ(AutomaticIndexName("u", 2), "(u autoindex 2)");
}

TEST(CreateParserTest, Indices) {
  Definition d = ParseCreateStatement(
      "CREATE UNIQUE INDEX fi ON items(name DESC, [size]) ON CONFLICT REPLACE");
  const auto* index = std::get_if<IndexDefinition>(&d);
  ASSERT_NE(index, nullptr);
  EXPECT_EQ(index->name, "fi");
  EXPECT_EQ(index->table, "items");
  EXPECT_EQ(index->columns, (std::vector<std::string>{"name", "size"}));
  EXPECT_TRUE(index->replace);
}

TEST(CreateParserTest, WhatDoesNotParseIsNoTableOrIndex) {
  for (const char* sql :
       {"CREATE TABLX t(a)", "CREATE TABLE t(", "CREATE TABLE t()", "CREATE TABLE t(a, a)",
        "CREATE TABLE t(a PRIMARY KEY, b PRIMARY KEY)", "CREATE TABLE t(a, UNIQUE(nosuch))",
        "CREATE TABLE t(a) garbage", "CREATE INDEX i ON t", "CREATE VIEW v AS SELECT 1",
        "CREATE TRIGGER tr AFTER INSERT ON t BEGIN SELECT 1; END", ""})
    EXPECT_TRUE(std::holds_alternative<OtherDefinition>(ParseCreateStatement(sql))) << sql;
  // Keywords that may serve as names do.
  EXPECT_EQ(Table("CREATE TABLE key(desc, temp TEXT, left)").columns.size(), 3u);
}

}  // namespace
}  // namespace sqlite2::sql
