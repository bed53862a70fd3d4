# Builds the tree that this folder is in. Not run where this is developed: see ../README.md.
get_filename_component(SOURCE_PATH "${CURRENT_PORT_DIR}/../.." ABSOLUTE)

vcpkg_cmake_configure(SOURCE_PATH "${SOURCE_PATH}" OPTIONS -DQECORE_BUILD_TESTS=OFF)
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(PACKAGE_NAME qeCore CONFIG_PATH lib/cmake/qeCore)
vcpkg_fixup_pkgconfig()
vcpkg_copy_tools(TOOL_NAMES qetool AUTO_CLEAN)
file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/debug/include" "${CURRENT_PACKAGES_DIR}/debug/share")
vcpkg_install_copyright(FILE_LIST "${SOURCE_PATH}/LICENSE" "${SOURCE_PATH}/packaging/THIRD-PARTY.md")
