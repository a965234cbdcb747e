# QBFA_EXTERNAL_SQLITE2: the plug-in and qbfa built against the real SQLite 2.8
# library instead of the engine under sqlite2/, to compare the two on the
# same databases. The code still includes "sqlite2/sqlite.h"; here that
# header forwards to the library's own sqlite.h, which declares the same
# interface. No Debian package carries SQLite 2, so this is checked by hand,
# outside CI (see README.md).
if(NOT EXISTS "${QBFA_SQLITE2_INCLUDE_DIR}/sqlite.h" OR NOT EXISTS "${QBFA_SQLITE2_LIBRARY}")
  message(FATAL_ERROR "QBFA_EXTERNAL_SQLITE2 needs QBFA_SQLITE2_INCLUDE_DIR (the folder of sqlite.h) "
                      "and QBFA_SQLITE2_LIBRARY (the library file)")
endif()
if(QBFA_BUILD_TESTS OR QBFA_BUILD_BENCH)
  message(FATAL_ERROR "The tests and benchmarks are written for the engine under sqlite2/: "
                      "configure QBFA_EXTERNAL_SQLITE2 with QBFA_BUILD_TESTS=OFF")
endif()

set(forwarding_dir ${PROJECT_BINARY_DIR}/external_sqlite2)
file(WRITE ${forwarding_dir}/sqlite2/sqlite.h
     "// Generated: the external SQLite 2.8 library's own header.\n"
     "#include \"${QBFA_SQLITE2_INCLUDE_DIR}/sqlite.h\"\n")
# Ahead of the source tree, so that "sqlite2/sqlite.h" finds the file above.
include_directories(BEFORE ${forwarding_dir})

add_library(qbfa_sqlite2_library INTERFACE)
target_link_libraries(qbfa_sqlite2_library INTERFACE ${QBFA_SQLITE2_LIBRARY})
