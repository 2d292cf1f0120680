# Installation and Debian packages. Components, each a package:
#   runtime      libtandri1          libtandri.so.1: the core and the public API
#   development  libtandri-dev       the headers, the CMake package, tandri.pc, the core's .so link
#   gtk          libtandri-gtk1      libtandri-gtk.so.1 (GTK 3, WebKitGTK 4.1) and its web-process
#                                    module
#   gtk_dev      libtandri-gtk-dev   its .so link (or archive), CMake targets and tandri-gtk.pc
#   gtk4         libtandri-gtk4-1    libtandri-gtk4.so.1 (GTK 4, WebKitGTK 6.0) and its module
#   gtk4_dev     libtandri-gtk4-dev  its .so link (or archive), CMake targets and tandri-gtk4.pc
#   qt           libtandri-qt1       libtandri-qt.so.1 (Qt 6 WebEngine; installed by its own folder)
#   qt_dev       libtandri-qt-dev    its .so link, CMake targets and tandri-qt.pc
# A GTK 4 application thus never pulls in GTK 3, nor a GTK 3 one GTK 4. Static archives go with
# the development components. Only the public headers are installed; the simulated platform and
# the scenario runner are for the build tree's tests only.
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
# One toolkit's library, its web-process module and its CMake targets, in its two components.
function(tandri_install_platform target module moduleSubdir component exportFile)
  install(TARGETS ${target} EXPORT ${exportFile}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${component}
      NAMELINK_COMPONENT ${component}_dev
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${component}_dev)
  install(TARGETS ${module}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/${moduleSubdir} COMPONENT ${component})
  install(EXPORT ${exportFile} NAMESPACE tandri:: DESTINATION ${TANDRI_CMAKE_DIR}
    COMPONENT ${component}_dev)
endfunction()
if(TANDRI_GTK)
  tandri_install_platform(tandri_gtk tandri_webext ${TANDRI_WEB_EXTENSIONS_SUBDIR} gtk
    tandriGtkTargets)
  list(APPEND TANDRI_CONFIG_COMPONENTS gtk)
endif()
if(TANDRI_GTK4)
  tandri_install_platform(tandri_gtk4 tandri_webext6 ${TANDRI_WEB_PROCESS_EXTENSIONS_SUBDIR} gtk4
    tandriGtk4Targets)
  list(APPEND TANDRI_CONFIG_COMPONENTS gtk4)
endif()
# The Qt platform installs itself (src/Platform/Qt), as a shared library only.
if(TANDRI_QT AND TANDRI_SHARED)
  list(APPEND TANDRI_CONFIG_COMPONENTS qt)
endif()

# The CMake package: find_package(tandri 1.0 REQUIRED COMPONENTS gtk) (or gtk4).
configure_package_config_file(cmake/tandriConfig.cmake.in ${CMAKE_BINARY_DIR}/tandriConfig.cmake
  INSTALL_DESTINATION ${TANDRI_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/tandriConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/tandriConfig.cmake ${CMAKE_BINARY_DIR}/tandriConfigVersion.cmake
  DESTINATION ${TANDRI_CMAKE_DIR} COMPONENT development)

# pkg-config: tandri.pc, tandri-gtk.pc and tandri-gtk4.pc. A shared library brings its own
# dependencies. Static archives name theirs as plain requirements, not private ones:
# `pkg-config --static` would link the whole GTK stack statically (it asks for libsystemd.a and the
# like), while a program linking our archives wants only their dependencies, as shared libraries.
file(RELATIVE_PATH TANDRI_PC_PREFIX /root/${CMAKE_INSTALL_LIBDIR}/pkgconfig /root)
string(REGEX REPLACE "/$" "" TANDRI_PC_PREFIX "${TANDRI_PC_PREFIX}")
set(TANDRI_PC_PREFIX "\${pcfiledir}/${TANDRI_PC_PREFIX}")
set(TANDRI_PC_REQUIRES "")
set(TANDRI_PC_LIBS "-ltandri")
if(NOT TANDRI_SHARED)
  set(TANDRI_PC_REQUIRES "simdjson liburiparser libplist-2.0")
  string(APPEND TANDRI_PC_LIBS " -lb64 -lpthread")
endif()
configure_file(cmake/tandri.pc.in ${CMAKE_BINARY_DIR}/tandri.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/tandri.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development)
# tandri-gtk.pc or tandri-gtk4.pc from one template.
function(tandri_platform_pc name library component engine summary)
  set(TANDRI_GTK_PC_NAME ${name})
  set(TANDRI_GTK_PC_DESCRIPTION "${summary}")
  set(TANDRI_GTK_PC_REQUIRES "tandri = ${PROJECT_VERSION} ${engine}")
  set(TANDRI_GTK_PC_LIBS "-l${library}")
  if(NOT TANDRI_SHARED)
    string(APPEND TANDRI_GTK_PC_REQUIRES " libsoup-3.0 sqlite3 libsecret-1 stb glib-2.0")
    foreach(lib ${CMAKE_DL_LIBS})
      string(APPEND TANDRI_GTK_PC_LIBS " -l${lib}")
    endforeach()
  endif()
  configure_file(cmake/tandri-gtk.pc.in ${CMAKE_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${CMAKE_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT ${component})
endfunction()
if(TANDRI_GTK)
  tandri_platform_pc(tandri-gtk tandri-gtk gtk_dev "webkit2gtk-4.1 gtk+-3.0"
    "The embedded checkout on GTK 3: WebKitGTK 4.1 web views, windows and the Linux stores")
endif()
if(TANDRI_GTK4)
  tandri_platform_pc(tandri-gtk4 tandri-gtk4 gtk4_dev "webkitgtk-6.0 gtk4"
    "The embedded checkout on GTK 4: WebKitGTK 6.0 web views, windows and the Linux stores")
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
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The platform libraries need libtandri.so.1 from the build tree: its package is named by hand
# below, the system libraries they need are found.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR})
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS OFF)
# A shlibs file for the programs built against them, and ldconfig run on install and removal.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(TANDRI_EXACT "(= ${PROJECT_VERSION})")
set(TANDRI_CORE_PACKAGE libtandri${PROJECT_VERSION_MAJOR})
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${TANDRI_CORE_PACKAGE})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "Shared library: the checkout button, manual sessions and
the hybrid plugin, without a toolkit (libtandri-gtk1 and libtandri-gtk4-1 bring one).")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libtandri-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "Development files: the headers, the CMake package
(find_package(tandri)) and the pkg-config file tandri.")
set(TANDRI_DEV_DEPENDS "${TANDRI_CORE_PACKAGE} ${TANDRI_EXACT}")
if(NOT TANDRI_SHARED)
  string(APPEND TANDRI_DEV_DEPENDS ", libsimdjson-dev, liburiparser-dev, libplist-dev, libb64-dev")
endif()
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${TANDRI_DEV_DEPENDS}, pkg-config | pkgconf")
# A toolkit's two packages: COMPONENT (the library, and its web-process module where the engine
# has one) and COMPONENT_dev.
macro(tandri_platform_packages component package devPackage toolkit devDepends)
  string(TOUPPER ${component} _up)
  list(APPEND CPACK_COMPONENTS_ALL ${component} ${component}_dev)
  set(CPACK_DEBIAN_${_up}_PACKAGE_NAME ${package})
  set(CPACK_DEBIAN_${_up}_PACKAGE_SECTION libs)
  set(CPACK_DEBIAN_${_up}_PACKAGE_DEPENDS "${TANDRI_CORE_PACKAGE} ${TANDRI_EXACT}")
  set(CPACK_DEBIAN_${_up}_DESCRIPTION "Shared library for ${toolkit} applications: the checkout
over the application's window, the button as a widget, the hybrid plugin on its web view.")
  set(CPACK_DEBIAN_${_up}_DEV_PACKAGE_NAME ${devPackage})
  set(CPACK_DEBIAN_${_up}_DEV_PACKAGE_SECTION libdevel)
  set(CPACK_DEBIAN_${_up}_DEV_PACKAGE_SHLIBDEPS OFF)
  set(_depends "libtandri-dev ${TANDRI_EXACT}, ${package} ${TANDRI_EXACT}, ${devDepends}")
  if(NOT TANDRI_SHARED)
    string(APPEND _depends ", libsqlite3-dev, libsecret-1-dev, libstb-dev, libglib2.0-dev")
  endif()
  set(CPACK_DEBIAN_${_up}_DEV_PACKAGE_DEPENDS "${_depends}")
  set(CPACK_DEBIAN_${_up}_DEV_DESCRIPTION "Development files for ${toolkit} applications: the CMake
component (find_package(tandri COMPONENTS ${component})) and the pkg-config file.")
endmacro()
if(TANDRI_GTK)
  tandri_platform_packages(gtk libtandri-gtk${PROJECT_VERSION_MAJOR} libtandri-gtk-dev
    "GTK 3 (WebKitGTK 4.1)" "libwebkit2gtk-4.1-dev, libgtk-3-dev, libsoup-3.0-dev")
endif()
if(TANDRI_GTK4)
  tandri_platform_packages(gtk4 libtandri-gtk4-${PROJECT_VERSION_MAJOR} libtandri-gtk4-dev
    "GTK 4 (WebKitGTK 6.0)" "libwebkitgtk-6.0-dev, libgtk-4-dev, libsoup-3.0-dev")
endif()
if(TANDRI_QT AND TANDRI_SHARED)
  tandri_platform_packages(qt libtandri-qt${PROJECT_VERSION_MAJOR} libtandri-qt-dev
    "Qt 6 (Qt WebEngine)" "qt6-base-dev, qt6-webengine-dev")
endif()
include(CPack)
