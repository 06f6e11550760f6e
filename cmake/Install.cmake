# Programs and their man pages, the album page, the tool policy, libraries, headers under include/vexathumb with their source tree's relative paths, pkg-config files.
# Each file belongs to a component, which is also the name of the Debian package that holds it.

install(TARGETS vexathumb LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  COMPONENT libvexathumb1 NAMELINK_COMPONENT libvexathumb-dev)
install(TARGETS vexaplatform LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  COMPONENT libvexaplatform1 NAMELINK_COMPONENT libvexathumb-dev)
install(FILES deploy/tool-policy/policy.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/vexathumb/tool-policy
  COMPONENT libvexaplatform1)

install(TARGETS vexathumb_program RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT vexathumb)
install(FILES docs/vexathumb.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT vexathumb)
install(FILES deploy/completions/vexathumb.bash
  DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME vexathumb COMPONENT vexathumb)
install(FILES deploy/completions/_vexathumb
  DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions COMPONENT vexathumb)
install(FILES deploy/completions/vexathumb.fish
  DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT vexathumb)
install(FILES deploy/vexathumb.thumbnailer DESTINATION ${CMAKE_INSTALL_DATADIR}/thumbnailers
  COMPONENT vexathumb)

install(FILES docs/vexathumb-web.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8 COMPONENT vexathumb-web)
install(DIRECTORY web DESTINATION ${CMAKE_INSTALL_DATADIR}/vexathumb COMPONENT vexathumb-web)

set(VEXATHUMB_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/vexathumb)
install(DIRECTORY src/platform/include/ DESTINATION ${VEXATHUMB_INCLUDEDIR}
  COMPONENT libvexathumb-dev FILES_MATCHING PATTERN "*.h")
install(FILES src/lib/common/export.h DESTINATION ${VEXATHUMB_INCLUDEDIR}/common
  COMPONENT libvexathumb-dev)
install(FILES src/lib/common/error/error.h DESTINATION ${VEXATHUMB_INCLUDEDIR}/common/error
  COMPONENT libvexathumb-dev)
install(FILES src/lib/common/util/util.h DESTINATION ${VEXATHUMB_INCLUDEDIR}/common/util
  COMPONENT libvexathumb-dev)
install(FILES
  src/lib/thumb/exiv2_compat.h
  src/lib/thumb/libvexathumb.h
  src/lib/thumb/thumb_convert_cmd.h
  src/lib/thumb/thumb_info.h
  DESTINATION ${VEXATHUMB_INCLUDEDIR}/thumb COMPONENT libvexathumb-dev)

# Relative to the files themselves, so that an installation may be moved, or made elsewhere than
# was said when configuring.
file(RELATIVE_PATH VEXATHUMB_PREFIX_FROM_PKGCONFIG /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/vexathumb.pc.in vexathumb.pc @ONLY)
configure_file(cmake/vexaplatform.pc.in vexaplatform.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/vexathumb.pc ${CMAKE_CURRENT_BINARY_DIR}/vexaplatform.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT libvexathumb-dev)

include(CMakePackageConfigHelpers)
configure_package_config_file(cmake/vexathumb-config.cmake.in vexathumb-config.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vexathumb
  PATH_VARS CMAKE_INSTALL_LIBDIR VEXATHUMB_INCLUDEDIR)
write_basic_package_version_file(vexathumb-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/vexathumb-config.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/vexathumb-config-version.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vexathumb COMPONENT libvexathumb-dev)
