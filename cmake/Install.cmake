# The installed tree holds no absolute path: it can be moved as a whole.

include(CMakePackageConfigHelpers)
set(package_folder "${CMAKE_INSTALL_LIBDIR}/cmake/QvPlatform")

install(TARGETS QvPlatform EXPORT QvPlatformTargets
  RUNTIME COMPONENT Runtime
  LIBRARY COMPONENT Runtime NAMELINK_COMPONENT Development
  ARCHIVE COMPONENT Development)
install(FILES ${QV_RUNTIME_DLLS} DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT Runtime)
if(TARGET qvp)
  file(RELATIVE_PATH libraries_from_programs "/${CMAKE_INSTALL_BINDIR}" "/${CMAKE_INSTALL_LIBDIR}")
  set_target_properties(qvp PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries_from_programs}")
  install(TARGETS qvp RUNTIME COMPONENT Development)
  file(RELATIVE_PATH libraries_from_host "/${QVP_HOST_FOLDER}" "/${CMAKE_INSTALL_LIBDIR}")
  set_target_properties(qvp-host PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries_from_host}")
  install(TARGETS qvp-host RUNTIME DESTINATION "${QVP_HOST_FOLDER}" COMPONENT Development)
  if(QV_COMPLETIONS)
    set(zsh_folder site-functions)
    if(QV_DEBIAN_PACKAGES)
      set(zsh_folder vendor-completions)
    endif()
    set(data "${CMAKE_INSTALL_DATAROOTDIR}")
    install(FILES "${QV_COMPLETIONS}/bash" RENAME qvp DESTINATION "${data}/bash-completion/completions"
      COMPONENT Development)
    install(FILES "${QV_COMPLETIONS}/zsh" RENAME _qvp DESTINATION "${data}/zsh/${zsh_folder}" COMPONENT Development)
    install(FILES "${QV_COMPLETIONS}/fish" RENAME qvp.fish DESTINATION "${data}/fish/vendor_completions.d"
      COMPONENT Development)
  endif()
  if(NOT WIN32 AND NOT QV_DEBIAN_PACKAGES)
    install(FILES "${PROJECT_SOURCE_DIR}/docs/qvp.1" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT Development)
  endif()
endif()
# The linker writes the PDB files next to the programs.
if(MINGW AND CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  set(QV_SYMBOL_COMPONENT Symbols)
  foreach(target IN ITEMS QvPlatform qvp qvp-host)
    if(TARGET ${target})
      install(FILES "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${target}.pdb" DESTINATION "${CMAKE_INSTALL_BINDIR}"
        COMPONENT ${QV_SYMBOL_COMPONENT})
    endif()
  endforeach()
endif()
install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/QvPlatform" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}"
  COMPONENT Development)

# The pages refer to each other as they do in the source tree.
set(document_folder "${CMAKE_INSTALL_DOCDIR}")
if(QV_DEBIAN_PACKAGES)
  set(document_folder "${CMAKE_INSTALL_DATAROOTDIR}/doc/libqvplatform-dev")
endif()
install(FILES "${PROJECT_SOURCE_DIR}/README.md" DESTINATION "${document_folder}" COMPONENT Development)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/docs" DESTINATION "${document_folder}" COMPONENT Development
  FILES_MATCHING PATTERN "*.md" PATTERN "*.svg" PATTERN "reference" EXCLUDE)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/examples" DESTINATION "${document_folder}" COMPONENT Development
  PATTERN "check-*" EXCLUDE)

install(EXPORT QvPlatformTargets NAMESPACE Qv:: DESTINATION "${package_folder}" COMPONENT Development)
configure_package_config_file(cmake/QvPlatformConfig.cmake.in QvPlatformConfig.cmake
  INSTALL_DESTINATION "${package_folder}" NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(QvPlatformConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(
  FILES
    "${PROJECT_BINARY_DIR}/QvPlatformConfig.cmake"
    "${PROJECT_BINARY_DIR}/QvPlatformConfigVersion.cmake"
    cmake/QvPlatform.manifest
    cmake/QvPlatformPlugin.cmake
  DESTINATION "${package_folder}" COMPONENT Development)

file(RELATIVE_PATH prefix_from_pkgconfig "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
set(plugin_folder "\${libdir}/plugins")
set(plugin_libs "-shared -Wl,-rpath,\$ORIGIN")
set(plugin_compiler_cflags)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  set(plugin_compiler_cflags -fno-gnu-unique)
endif()
if(WIN32)
  set(plugin_folder "\${prefix}/${CMAKE_INSTALL_BINDIR}/plugins")
  set(plugin_libs "-shared")
endif()
configure_file(cmake/QvPlatform.pc.in QvPlatform.pc @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/QvPlatform.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
  COMPONENT Development)
