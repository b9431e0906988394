# What others need to build hosts and platform plug-ins: a CMake package and a pkg-config file.
include(CMakePackageConfigHelpers)

set(ZENDRA_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Zendra)
configure_package_config_file(
    cmake/ZendraConfig.cmake.in ${CMAKE_BINARY_DIR}/ZendraConfig.cmake
    INSTALL_DESTINATION ${ZENDRA_CMAKE_DIR}
    NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/ZendraConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(
    FILES ${CMAKE_BINARY_DIR}/ZendraConfig.cmake ${CMAKE_BINARY_DIR}/ZendraConfigVersion.cmake
    DESTINATION ${ZENDRA_CMAKE_DIR}
    COMPONENT development)
install(
    EXPORT ZendraTargets
    NAMESPACE Zendra::
    DESTINATION ${ZENDRA_CMAKE_DIR}
    COMPONENT development)

# Found from the file's own place, so that the installation can be moved.
file(RELATIVE_PATH ZENDRA_PC_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(cmake/zendra-hook.pc.in zendra-hook.pc @ONLY)
install(
    FILES ${CMAKE_BINARY_DIR}/zendra-hook.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT development)
