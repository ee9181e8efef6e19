# Debian packages from the install components (cmake/Install.cmake):
#   cd build && cpack -G DEB
# gives liblumora1 (runtime), liblumora-dev (depends on liblumora1 of exactly
# the same version) and lumora-tools.

# The tools that predate the packages join the tools component here; newer
# tools do so in their own CMakeLists.txt.
foreach(tool lumora-sim lumora-devserver lumora-decode)
  if(TARGET ${tool})
    install(TARGETS ${tool} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  endif()
endforeach()

set(CPACK_PACKAGE_NAME lumora)
set(CPACK_PACKAGE_VENDOR "Lumora")
set(CPACK_PACKAGE_CONTACT "Lumora Beacon SDK maintainers <sdk@lumora.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "Proximity advertising from iBeacon-gated Bluetooth LE beacons")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL runtime dev tools)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_STRIP_FILES ON)
# A shlibs file, and ldconfig run on install and removal, for the runtime package.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
find_program(LUMORA_DPKG_SHLIBDEPS dpkg-shlibdeps)
if(LUMORA_DPKG_SHLIBDEPS)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
endif()

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME liblumora${PROJECT_VERSION_MAJOR})
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
    "Lumora Beacon SDK: the shared library and a sample sdk.plist")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME liblumora-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEV_DESCRIPTION
    "Lumora Beacon SDK: headers, CMake package and pkg-config file")
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS
    "liblumora${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION})")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME lumora-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION devel)
set(CPACK_COMPONENT_TOOLS_DESCRIPTION
    "Lumora Beacon SDK tools: lumora-doctor, lumora-sim, lumora-devserver, lumora-decode")

include(CPack)
