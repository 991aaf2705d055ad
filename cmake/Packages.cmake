# Packages by CPack, made by tools/build-packages: for Debian the library's run time, and apart from it what
# developing with it takes; for Windows one archive of everything, with every library that it needs, and another one
# of the PDB files.

option(QV_DEBIAN_PACKAGES "Install what Debian's policy asks for, and no run paths" OFF)

add_custom_target(packaged)
add_dependencies(packaged QvPlatform)
if(TARGET qvp)
  add_dependencies(packaged qvp qvp-host)
endif()

set(CPACK_PACKAGE_NAME QvPlatform)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "platform layer of a real-time physics simulation")
set(CPACK_PACKAGE_VENDOR QvPlatform)
set(CPACK_PACKAGE_CONTACT "QvPlatform maintainers <maintainers@qvplatform.example>")
set(CPACK_PACKAGE_FILE_NAME "QvPlatform-${PROJECT_VERSION}-windows-x86_64")
if(NOT QV_SYMBOL_COMPONENT)  # else the files hold no symbols
  set(CPACK_STRIP_FILES ON)
endif()
set(CPACK_THREADS 0)
set(CPACK_COMPONENTS_ALL Runtime Development)
if(QV_SYMBOL_COMPONENT)
  list(APPEND CPACK_COMPONENTS_ALL ${QV_SYMBOL_COMPONENT})
  set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
  set(CPACK_COMPONENT_INCLUDE_TOPLEVEL_DIRECTORY ON)
  set(CPACK_COMPONENT_RUNTIME_GROUP Everything)
  set(CPACK_COMPONENT_DEVELOPMENT_GROUP Everything)
  set(CPACK_COMPONENT_SYMBOLS_GROUP Symbols)
  set(CPACK_ARCHIVE_EVERYTHING_FILE_NAME "${CPACK_PACKAGE_FILE_NAME}")
  set(CPACK_ARCHIVE_SYMBOLS_FILE_NAME "${CPACK_PACKAGE_FILE_NAME}-symbols")
endif()

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# What the tool needs of the library comes with the dependency between the two packages.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")

set(package_text "Plugins with dependencies, and one face for the operating system: files,
processes, threads, shared memory, time, a log and a thread pool.
")

# The name identifies the library, so that those of two releases can be installed side by side. The library opens
# libdw itself, and without it knows no source lines in call stacks.
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "${package_text}
This package holds the shared library.")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libqvplatform${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_PROVIDES "libqvplatform (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS libdw1)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
  "${PROJECT_SOURCE_DIR}/packaging/debian/triggers" "${PROJECT_SOURCE_DIR}/packaging/debian/symbols")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "${package_text}
This package holds the headers, the CMake package with the plugin kit, the
pkg-config file, and qvp, which explains why a plugin does not load.")
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS Runtime)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libqvplatform-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_RECOMMENDS "cmake, g++ | c++-compiler")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "graphviz, pkg-config")

if(QV_DEBIAN_PACKAGES)
  if(TARGET qvp)
    set_target_properties(qvp qvp-host PROPERTIES INSTALL_RPATH "")
    configure_file(docs/qvp.1 "${PROJECT_BINARY_DIR}/qvp.1" COPYONLY)
    execute_process(
      COMMAND gzip --force --best --no-name "${PROJECT_BINARY_DIR}/qvp.1" COMMAND_ERROR_IS_FATAL ANY)
    install(FILES "${PROJECT_BINARY_DIR}/qvp.1.gz" COMPONENT Development
      DESTINATION "${CMAKE_INSTALL_MANDIR}/man1")
  endif()
  string(TIMESTAMP package_date "%a, %d %b %Y %H:%M:%S +0000" UTC)
  set(documents "${PROJECT_BINARY_DIR}/documents")
  configure_file(packaging/debian/changelog.in "${documents}/changelog" @ONLY)
  configure_file(CHANGELOG.md "${documents}/CHANGELOG.md" COPYONLY)
  configure_file(packaging/debian/copyright "${documents}/copyright" COPYONLY)
  execute_process(
    COMMAND gzip --force --best --no-name changelog CHANGELOG.md
    WORKING_DIRECTORY "${documents}" COMMAND_ERROR_IS_FATAL ANY)
  foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    string(TOUPPER ${component} key)
    install(DIRECTORY "${documents}/" COMPONENT ${component}
      DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/${CPACK_DEBIAN_${key}_PACKAGE_NAME}")
  endforeach()
endif()

# The terms of the libraries that are shipped along.
if(MINGW AND CMAKE_CROSSCOMPILING)
  foreach(package IN ITEMS g++-mingw-w64-x86-64-posix mingw-w64-x86-64-dev libtbb-dev)
    install(FILES "/usr/share/doc/${package}/copyright" RENAME "${package}.txt" DESTINATION licenses
      COMPONENT Runtime)
  endforeach()
endif()

include(CPack)
