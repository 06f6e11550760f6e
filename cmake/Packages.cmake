# The Debian packages, one for each component of the installation; ./package makes them. They hold some
# files that only a package can: configuration below /etc, what systemd reads, Debian's own papers.

set(VEXATHUMB_MAINTAINER "vexathumb maintainers <maintainers@users.noreply.c-seed-4f666fbe.example>"
  CACHE STRING "Whom the packages name")
set(VEXATHUMB_PACKAGE_REVISION "1" CACHE STRING "What follows the version in that of the packages")
set(version ${PROJECT_VERSION}-${VEXATHUMB_PACKAGE_REVISION})

if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  message(FATAL_ERROR "VEXATHUMB_PACKAGES wants CMAKE_INSTALL_PREFIX=/usr")
endif()
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
  message(FATAL_ERROR "VEXATHUMB_PACKAGES wants the time of the packages in SOURCE_DATE_EPOCH")
endif()

# --- what only packages hold

set(packaged ${CMAKE_CURRENT_BINARY_DIR}/packaged)
set(docdir ${CMAKE_INSTALL_DATADIR}/doc)
set(PROGRAM /usr/bin/vexathumb-web)
configure_file(deploy/vexathumb-web@.service ${packaged}/vexathumb-web@.service @ONLY)
install(FILES deploy/vexathumb-web.socket ${packaged}/vexathumb-web@.service
  DESTINATION lib/systemd/system COMPONENT vexathumb-web)
install(FILES deploy/vexathumb-sysusers.conf DESTINATION lib/sysusers.d RENAME vexathumb.conf
  COMPONENT vexathumb-web)
install(FILES deploy/vexathumb-tmpfiles.conf DESTINATION lib/tmpfiles.d RENAME vexathumb.conf
  COMPONENT vexathumb-web)

# The site within the whole configuration of each server.
set(ADDRESS 127.0.0.1)
set(PORT 8080)
set(PAGE /usr/share/vexathumb/web)
set(SOCKET /run/vexathumb/web.sock)
set(LOCATIONS "    # None, as long as \"delivery\" is \"self\" in the settings.")
foreach(server lighttpd nginx)
  file(READ deploy/${server}.conf.in site)
  if(NOT site MATCHES "\n *# The site\\.\n(.*)\n *# The site ends\\.\n")
    message(FATAL_ERROR "deploy/${server}.conf.in does not say where its site begins and ends")
  endif()
  string(CONFIGURE "${CMAKE_MATCH_1}" SITE @ONLY)
  if(server STREQUAL "nginx")
    string(REGEX REPLACE "\n  " "\n" SITE "\n${SITE}")
  else()
    string(REGEX REPLACE "\n([^\n])" "\n  \\1" SITE "\n${SITE}")
  endif()
  configure_file(deploy/packages/vexathumb-web/${server}.conf.in ${packaged}/${server}.conf @ONLY)
  install(FILES ${packaged}/${server}.conf DESTINATION /etc/vexathumb COMPONENT vexathumb-web)
endforeach()
install(FILES deploy/nginx-files.conf.in deploy/vexathumb-lighttpd.conf
  DESTINATION ${docdir}/vexathumb-web/examples COMPONENT vexathumb-web)
install(FILES docs/http-api.md deploy/packages/vexathumb-web/README.Debian
  DESTINATION ${docdir}/vexathumb-web COMPONENT vexathumb-web)

install(FILES deploy/packages/vexathumb/platform.ini DESTINATION /etc/vexathumb COMPONENT vexathumb)
install(FILES docs/platform-settings.md docs/manifest-format.md
  DESTINATION ${docdir}/vexathumb COMPONENT vexathumb)
install(FILES deploy/platform.ini.example DESTINATION ${docdir}/vexathumb/examples
  RENAME platform.ini COMPONENT vexathumb)
install(PROGRAMS deploy/farm/run-farm DESTINATION ${docdir}/vexathumb/examples COMPONENT vexathumb)

# --- all packages

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_SET_DESTDIR ON)  # for /etc
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_DEBIAN_PACKAGE_RELEASE ${VEXATHUMB_PACKAGE_REVISION})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${VEXATHUMB_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_SOURCE vexathumb)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE none)  # ./package compresses what it has finished
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/CompressDocuments.cmake)
option(VEXATHUMB_DEBUG_PACKAGES "Pack debug symbols too, each library's and program's apart" ON)
set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ${VEXATHUMB_DEBUG_PACKAGES})
if(NOT VEXATHUMB_DEBUG_PACKAGES)
  set(CPACK_STRIP_FILES ON)
endif()

string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(deploy/packages/changelog.Debian.in ${packaged}/changelog.Debian @ONLY)

# describe(PACKAGE SECTION SUMMARY TEXT [DEPENDS ...] [RECOMMENDS ...] [SUGGESTS ...] [ARCHITECTURE all]):
# a package, of the component of its name.
set(CPACK_COMPONENTS_ALL "")
macro(describe package section summary text)
  cmake_parse_arguments(of "" "ARCHITECTURE" "DEPENDS;RECOMMENDS;SUGGESTS" ${ARGN})
  list(APPEND CPACK_COMPONENTS_ALL ${package})
  string(TOUPPER ${package} key)
  set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${package})
  set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section})
  set(CPACK_COMPONENT_${key}_DESCRIPTION "${summary}\n${text}")
  foreach(relation DEPENDS RECOMMENDS SUGGESTS)
    list(JOIN of_${relation} ", " CPACK_DEBIAN_${key}_PACKAGE_${relation})
  endforeach()
  if(of_ARCHITECTURE)
    set(CPACK_DEBIAN_${key}_PACKAGE_ARCHITECTURE ${of_ARCHITECTURE})
  endif()
  set(control "")
  foreach(file conffiles postinst prerm postrm triggers)
    if(EXISTS ${PROJECT_SOURCE_DIR}/deploy/packages/${package}/${file})
      list(APPEND control ${PROJECT_SOURCE_DIR}/deploy/packages/${package}/${file})
    endif()
  endforeach()
  set(CPACK_DEBIAN_${key}_PACKAGE_CONTROL_EXTRA "${control}")
  install(FILES deploy/packages/copyright ${packaged}/changelog.Debian
    DESTINATION ${docdir}/${package} COMPONENT ${package})
  install(FILES CHANGELOG.md DESTINATION ${docdir}/${package} RENAME changelog COMPONENT ${package})
endmacro()

describe(libvexathumb1 libs "thumbnails of photos and videos, shared library"
"libvexathumb finds, builds and serves the thumbnails that the applications of
a network storage appliance keep beside the pictures on its shares.
.
Its platform operations are open: libvexaplatform answers them."
  RECOMMENDS libvexaplatform1 imagemagick libjpeg-turbo-progs SUGGESTS dcraw)
describe(libvexaplatform1 libs "platform operations for thumbnails on a Linux machine"
"What libvexathumb asks of its platform, for any Linux machine: stores, shares
and volumes, running tools under limits and confined, and HTTP output."
  RECOMMENDS imagemagick)
describe(libvexathumb-c1 libs "thumbnails of photos and videos, C library"
"Thumbnails for programs in C and in languages that call it: found where they
are stored, and made where they are not, beside all others that do so."
  DEPENDS "libvexathumb1 (= ${version})" "libvexaplatform1 (= ${version})"
  RECOMMENDS "vexathumb (= ${version})" imagemagick libjpeg-turbo-progs)
describe(libvexathumb-dev libdevel "thumbnails of photos and videos, development files"
"Headers of the libraries, and what pkg-config and CMake say of them: programs
in C++ are linked with libvexathumb and libvexaplatform, those in C with
libvexathumb-c."
  DEPENDS "libvexathumb1 (= ${version})" "libvexaplatform1 (= ${version})"
    "libvexathumb-c1 (= ${version})" libexiv2-dev)
describe(vexathumb graphics "finds and builds thumbnails of photos and videos"
"The command line: thumbnails of one picture or of whole shares, kept current
as pictures come and change; what is stored is checked, counted and cleaned."
  DEPENDS "libvexathumb1 (= ${version})" "libvexaplatform1 (= ${version})"
    imagemagick libjpeg-turbo-progs dcraw
  RECOMMENDS gifsicle SUGGESTS "ffmpegthumbnailer | ffmpeg" parallel)
describe(vexathumb-web httpd "thumbnails and albums over HTTP"
"A FastCGI service that answers thumbnails and folder listings behind nginx or
lighttpd, and the page of an album, with units of systemd and sites for both.
.
It knows no users: whoever reaches it sees the shares."
  DEPENDS "vexathumb (= ${version})" "libvexathumb1 (= ${version})" "libvexaplatform1 (= ${version})"
    "systemd | systemd-standalone-sysusers" "systemd | systemd-standalone-tmpfiles"
  RECOMMENDS "nginx | lighttpd | httpd-cgi")
describe(python3-vexathumb python "thumbnails of photos and videos for Python"
"A path to a thumbnail, or its bytes, in three lines: found where thumbnails are
stored, and made where they are not, beside all others that do so."
  ARCHITECTURE all DEPENDS "python3:any" "libvexathumb-c1 (>= ${version})")

include(CPack)
