# Installs the shipped library, its headers, a sample sdk.plist (found by the
# library at <prefix>/share/lumora/sdk.plist), a CMake package and a
# relocatable pkg-config file. Each file belongs to an install component, one
# per Debian package (cmake/Packaging.cmake):
#   runtime  liblumora.so.1*, share/lumora/sdk.plist
#   dev      headers, the liblumora.so link, the CMake package, lumora.pc
#   tools    the command-line tools (each joins with
#            install(TARGETS x RUNTIME COMPONENT tools))
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS lumora EXPORT LumoraBeaconSDKTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/lumora DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        COMPONENT dev)
install(FILES ${PROJECT_SOURCE_DIR}/resources/sdk.plist DESTINATION ${CMAKE_INSTALL_DATADIR}/lumora
        COMPONENT runtime)

set(config_dir ${CMAKE_INSTALL_LIBDIR}/cmake/LumoraBeaconSDK)
install(EXPORT LumoraBeaconSDKTargets NAMESPACE lumora:: DESTINATION ${config_dir} COMPONENT dev)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/LumoraBeaconSDKConfig.cmake.in
  ${PROJECT_BINARY_DIR}/LumoraBeaconSDKConfig.cmake INSTALL_DESTINATION ${config_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/LumoraBeaconSDKConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/LumoraBeaconSDKConfig.cmake
              ${PROJECT_BINARY_DIR}/LumoraBeaconSDKConfigVersion.cmake
        DESTINATION ${config_dir} COMPONENT dev)

# The .pc file finds the prefix relative to itself, so the path back up must
# match the depth of the library directory (lib, or lib/x86_64-linux-gnu).
file(RELATIVE_PATH LUMORA_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" LUMORA_PC_TO_PREFIX "${LUMORA_PC_TO_PREFIX}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/lumora.pc.in ${PROJECT_BINARY_DIR}/lumora.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/lumora.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT dev)
