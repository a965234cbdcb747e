# The checks the fuzz targets run, one per parser of outside input (checks.h),
# as one library: the fuzzers link it, and so does the test that replays
# every corpus file and finding through the same checks.
add_library(qbfa_fuzz_checks STATIC
  ${PROJECT_SOURCE_DIR}/fuzz/database_check.cpp
  ${PROJECT_SOURCE_DIR}/fuzz/read_all.cpp
  ${PROJECT_SOURCE_DIR}/fuzz/sql_check.cpp
  ${PROJECT_SOURCE_DIR}/fuzz/plist_check.cpp
  ${PROJECT_SOURCE_DIR}/fuzz/preferences_check.cpp
  ${PROJECT_SOURCE_DIR}/fuzz/scratch.cpp
  ${PROJECT_SOURCE_DIR}/cli/json_row.cpp
  ${PROJECT_SOURCE_DIR}/cli/plist_text.cpp
)
target_link_libraries(qbfa_fuzz_checks PUBLIC
  sqlite2_writer qbfa_plist qbfa_preferences PkgConfig::PLIST)
