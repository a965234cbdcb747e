# What `cmake --install` puts under the prefix, and the Debian package that
# `cpack -G DEB` makes of the same files:
#   bin/qbfa
#   lib/qbfa/libqbfa_plugin.so, lib/qbfa/libhookwright.so
#   lib/systemd/user/qbfa-host.service
#   share/man/man1/qbfa.1.gz
#   share/doc/qbfa/README.md
#   share/gnome-shell/extensions/qbfa-front-switch@quillbox.com/{metadata.json,extension.js}
#   share/kwin/scripts/qbfa-front-switch/{metadata.json,contents/code/main.js}

install(TARGETS qbfa RUNTIME DESTINATION bin)
set_target_properties(qbfa PROPERTIES INSTALL_RPATH "$ORIGIN/../${QBFA_PRIVATE_LIBDIR}")
install(TARGETS hookwright qbfa_plugin LIBRARY DESTINATION ${QBFA_PRIVATE_LIBDIR})

# The unit names the installed qbfa by its absolute path, which is known only
# when installing (`--prefix`, or the package's /usr), so the file is written
# then. DESTDIR, as the package build uses it, stays out of that path.
set(qbfa_unit ${PROJECT_BINARY_DIR}/packaging/qbfa-host.service)
install(CODE "
  set(QBFA_EXECUTABLE \"\${CMAKE_INSTALL_PREFIX}/bin/qbfa\")
  configure_file(\"${PROJECT_SOURCE_DIR}/packaging/qbfa-host.service.in\" \"${qbfa_unit}\" @ONLY)
")
install(FILES ${qbfa_unit} DESTINATION lib/systemd/user)

# Man pages are installed compressed, as Debian's tools expect.
find_program(GZIP gzip REQUIRED)
set(qbfa_man_page ${PROJECT_BINARY_DIR}/qbfa.1.gz)
add_custom_command(
  OUTPUT ${qbfa_man_page}
  COMMAND ${GZIP} -9 -n -c ${PROJECT_SOURCE_DIR}/doc/qbfa.1 > ${qbfa_man_page}
  DEPENDS ${PROJECT_SOURCE_DIR}/doc/qbfa.1
  VERBATIM)
add_custom_target(qbfa_man_page ALL DEPENDS ${qbfa_man_page})
install(FILES ${qbfa_man_page} DESTINATION share/man/man1)
install(FILES README.md DESTINATION share/doc/qbfa)

# The desktop bridges, where GNOME Shell and KWin look for them; each is off
# until the user enables it. GNOME Shell 45 changed how extensions load, so
# an installation carries the one form its shell runs.
set(QBFA_GNOME_SHELL_EXTENSION_FORM imports CACHE STRING
  "The GNOME Shell extension's form: imports (GNOME 42 to 44, as Debian 12 has) or module (GNOME 45 and later)")
set_property(CACHE QBFA_GNOME_SHELL_EXTENSION_FORM PROPERTY STRINGS imports module)
if(QBFA_GNOME_SHELL_EXTENSION_FORM STREQUAL "imports")
  set(qbfa_gnome_shell_form 43)
elseif(QBFA_GNOME_SHELL_EXTENSION_FORM STREQUAL "module")
  set(qbfa_gnome_shell_form 45)
else()
  message(FATAL_ERROR
    "QBFA_GNOME_SHELL_EXTENSION_FORM is ${QBFA_GNOME_SHELL_EXTENSION_FORM}: use imports or module")
endif()
install(DIRECTORY ${QBFA_GNOME_SHELL_STAGED}/${qbfa_gnome_shell_form}/${QBFA_GNOME_EXTENSION_UUID}
  DESTINATION share/gnome-shell/extensions)
install(DIRECTORY desktop/kwin/qbfa-front-switch DESTINATION share/kwin/scripts)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME qbfa)
set(CPACK_PACKAGE_CONTACT "qbfa developers <qbfa@invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_STRIP_FILES ON)
# Runtime dependencies come from the binaries themselves; the private folder
# lets dpkg-shlibdeps resolve the host framework the package brings along.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/hookwright)
# The host listens and publishes on the user's session bus, which a systemd
# user session provides.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS dbus-user-session)
include(CPack)
