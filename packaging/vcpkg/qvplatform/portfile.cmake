# The port lies in the source tree that it builds: vcpkg install qvplatform --overlay-ports=packaging/vcpkg
get_filename_component(SOURCE_PATH "${CMAKE_CURRENT_LIST_DIR}/../../.." ABSOLUTE)

# There is no static library: a host and its plugins share one.
vcpkg_check_linkage(ONLY_DYNAMIC_LIBRARY)
vcpkg_check_features(OUT_FEATURE_OPTIONS feature_options FEATURES tools QV_BUILD_TOOLS)

vcpkg_cmake_configure(
  SOURCE_PATH "${SOURCE_PATH}"
  OPTIONS ${feature_options} -DQV_BUILD_TESTS=OFF -DQV_BUILD_EXAMPLES=OFF)
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(PACKAGE_NAME QvPlatform CONFIG_PATH lib/cmake/QvPlatform)
vcpkg_fixup_pkgconfig()
if("tools" IN_LIST FEATURES)
  if(NOT VCPKG_TARGET_IS_WINDOWS)  # qvp finds it next to itself
    file(RENAME "${CURRENT_PACKAGES_DIR}/libexec/QvPlatform/qvp-host" "${CURRENT_PACKAGES_DIR}/bin/qvp-host")
    file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/libexec" "${CURRENT_PACKAGES_DIR}/debug/libexec")
  endif()
  vcpkg_copy_tools(TOOL_NAMES qvp qvp-host AUTO_CLEAN)
endif()

file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/debug/include")
vcpkg_install_copyright(FILE_LIST "${SOURCE_PATH}/packaging/debian/copyright")
