# qbfa_wayland_client_protocol(TARGET XML)
# Turns the Wayland protocol that XML describes into a client's header and
# glue code with wayland-scanner, at build time, and compiles them into
# TARGET. The header lands in the build folder that mirrors the calling
# source folder and is included by its path from the build tree's top, as
# the sources' own headers are from the source tree's:
#   host/CMakeLists.txt + .../wlr-foreign-toplevel-management-unstable-v1.xml
#   -> #include "host/wlr-foreign-toplevel-management-unstable-v1-client-protocol.h"
pkg_get_variable(WAYLAND_SCANNER wayland-scanner wayland_scanner)
if(NOT WAYLAND_SCANNER)
  message(FATAL_ERROR "wayland-scanner not found (scripts/install-deps.sh installs libwayland-dev)")
endif()

function(qbfa_wayland_client_protocol target xml)
  get_filename_component(protocol ${xml} NAME_WE)
  set(header ${CMAKE_CURRENT_BINARY_DIR}/${protocol}-client-protocol.h)
  set(code ${CMAKE_CURRENT_BINARY_DIR}/${protocol}-protocol.c)
  add_custom_command(OUTPUT ${header}
    COMMAND ${WAYLAND_SCANNER} client-header ${xml} ${header}
    DEPENDS ${xml} VERBATIM)
  add_custom_command(OUTPUT ${code}
    COMMAND ${WAYLAND_SCANNER} private-code ${xml} ${code}
    DEPENDS ${xml} VERBATIM)
  target_sources(${target} PRIVATE ${header} ${code})
  target_include_directories(${target} PUBLIC ${PROJECT_BINARY_DIR})
  target_link_libraries(${target} PUBLIC PkgConfig::WAYLAND_CLIENT)
endfunction()
