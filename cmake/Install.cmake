# Installation and Debian packages. Components: "runtime" (the shared libraries and the
# web-process module: package libtandri1) and "development" (headers, the libraries' .so links or
# static archives, the CMake package and the pkg-config files: package libtandri-dev).
# Only the public headers are installed; the simulated platform and the scenario runner are for
# the build tree's tests only.
include(CMakePackageConfigHelpers)

set(TANDRI_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/tandri)

install(TARGETS tandri EXPORT tandriTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(EXPORT tandriTargets NAMESPACE tandri:: DESTINATION ${TANDRI_CMAKE_DIR}
  COMPONENT development)
install(DIRECTORY include/tandri/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tandri
  COMPONENT development FILES_MATCHING PATTERN "*.hpp")
install(FILES ${CMAKE_BINARY_DIR}/generated/tandri/Version.hpp
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tandri COMPONENT development)

set(TANDRI_CONFIG_COMPONENTS "")
if(TANDRI_GTK)
  install(TARGETS tandri_gtk EXPORT tandriGtkTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
  install(TARGETS tandri_webext
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/${TANDRI_WEB_EXTENSIONS_SUBDIR} COMPONENT runtime)
  install(EXPORT tandriGtkTargets NAMESPACE tandri:: DESTINATION ${TANDRI_CMAKE_DIR}
    COMPONENT development)
  set(TANDRI_CONFIG_COMPONENTS gtk)
endif()

# The CMake package: find_package(tandri 1.0 REQUIRED COMPONENTS gtk).
configure_package_config_file(cmake/tandriConfig.cmake.in ${CMAKE_BINARY_DIR}/tandriConfig.cmake
  INSTALL_DESTINATION ${TANDRI_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/tandriConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/tandriConfig.cmake ${CMAKE_BINARY_DIR}/tandriConfigVersion.cmake
  DESTINATION ${TANDRI_CMAKE_DIR} COMPONENT development)

# pkg-config: tandri.pc and tandri-gtk.pc. A shared library brings its own dependencies. Static
# archives name theirs as plain requirements, not private ones: `pkg-config --static` would link
# the whole GTK stack statically (it asks for libsystemd.a and the like), while a program linking
# our archives wants only their dependencies, as shared libraries.
file(RELATIVE_PATH TANDRI_PC_PREFIX /root/${CMAKE_INSTALL_LIBDIR}/pkgconfig /root)
string(REGEX REPLACE "/$" "" TANDRI_PC_PREFIX "${TANDRI_PC_PREFIX}")
set(TANDRI_PC_PREFIX "\${pcfiledir}/${TANDRI_PC_PREFIX}")
set(TANDRI_PC_REQUIRES "")
set(TANDRI_PC_LIBS "-ltandri")
set(TANDRI_GTK_PC_REQUIRES "tandri = ${PROJECT_VERSION} webkit2gtk-4.1 gtk+-3.0")
set(TANDRI_GTK_PC_LIBS "-ltandri-gtk")
if(NOT TANDRI_SHARED)
  set(TANDRI_PC_REQUIRES "simdjson liburiparser libplist-2.0")
  string(APPEND TANDRI_PC_LIBS " -lb64 -lpthread")
  string(APPEND TANDRI_GTK_PC_REQUIRES " libsoup-3.0 sqlite3 libsecret-1 stb glib-2.0")
  foreach(lib ${CMAKE_DL_LIBS})
    string(APPEND TANDRI_GTK_PC_LIBS " -l${lib}")
  endforeach()
endif()
configure_file(cmake/tandri.pc.in ${CMAKE_BINARY_DIR}/tandri.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/tandri.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development)
if(TANDRI_GTK)
  configure_file(cmake/tandri-gtk.pc.in ${CMAKE_BINARY_DIR}/tandri-gtk.pc @ONLY)
  install(FILES ${CMAKE_BINARY_DIR}/tandri-gtk.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT development)
endif()

# ---- Debian packages: cpack -G DEB in the build directory ----
set(CPACK_PACKAGE_NAME libtandri)
set(CPACK_PACKAGE_VENDOR "Tandri")
set(CPACK_PACKAGE_CONTACT "Tandri Checkout <checkout-sdk@tandri.com>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Tandri Checkout: the native side of an embedded checkout")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS OFF)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libtandri${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
# A shlibs file for the programs built against it, and ldconfig run on install and removal.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "Shared libraries: the checkout button, manual sessions
and the hybrid plugin for GTK applications, with the web engine's module for the script channel.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libtandri-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "Development files: headers, the CMake package
(find_package(tandri COMPONENTS gtk)) and the pkg-config files (tandri, tandri-gtk).")
set(TANDRI_DEV_DEPENDS "libtandri${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION})")
if(TANDRI_GTK)
  string(APPEND TANDRI_DEV_DEPENDS ", libwebkit2gtk-4.1-dev, libgtk-3-dev, libsoup-3.0-dev")
endif()
if(NOT TANDRI_SHARED)
  string(APPEND TANDRI_DEV_DEPENDS ", libsimdjson-dev, liburiparser-dev, libplist-dev, libb64-dev"
    ", libsqlite3-dev, libsecret-1-dev, libstb-dev, libglib2.0-dev")
endif()
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${TANDRI_DEV_DEPENDS}, pkg-config | pkgconf")
include(CPack)
