# Installs the CMake package (CommonTools::CommonTools) and the pkg-config file.

set(COMMONTOOLS_CMAKECONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/CommonTools)

install(EXPORT CommonToolsTargets
    NAMESPACE CommonTools::
    FILE CommonToolsTargets.cmake
    DESTINATION ${COMMONTOOLS_CMAKECONFIG_DIR}
    COMPONENT Development
)

configure_package_config_file(
    ${CMAKE_CURRENT_LIST_DIR}/CommonToolsConfig.cmake.in
    ${PROJECT_BINARY_DIR}/CommonToolsConfig.cmake
    INSTALL_DESTINATION ${COMMONTOOLS_CMAKECONFIG_DIR}
)
write_basic_package_version_file(
    ${PROJECT_BINARY_DIR}/CommonToolsConfigVersion.cmake
    VERSION ${PROJECT_VERSION}
    COMPATIBILITY SameMajorVersion
)
install(FILES
    ${PROJECT_BINARY_DIR}/CommonToolsConfig.cmake
    ${PROJECT_BINARY_DIR}/CommonToolsConfigVersion.cmake
    DESTINATION ${COMMONTOOLS_CMAKECONFIG_DIR}
    COMPONENT Development
)

# The prefix is written relative to the .pc file so that an install with
# `cmake --install --prefix P` (another prefix than at configure time) works.
file(RELATIVE_PATH COMMONTOOLS_PC_TO_PREFIX
    /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" COMMONTOOLS_PC_TO_PREFIX "${COMMONTOOLS_PC_TO_PREFIX}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/CommonTools.pc.in
    ${PROJECT_BINARY_DIR}/CommonTools.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/CommonTools.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT Development)
