# Debian packages, made with CPack's DEB generator (scripts/package):
#   libcommontools<major>  the shared library (component Runtime)
#   libcommontools-dev     headers, CMake package, pkg-config file, API
#                          reference (component Development)
#   commontools            the command-line tool (component Tool)
#   commontools-tests      the tests and commontools-selftest (component
#                          Tests, with COMMONTOOLS_INSTALL_TESTS; what it
#                          holds is in tests/selftest/CMakeLists.txt)
#
# With COMMONTOOLS_DEBIAN_PACKAGE on, the files Debian policy asks for are
# installed as well: a copyright file and a changelog per package, the
# tool's manual page, the library's ldconfig trigger.

option(COMMONTOOLS_DEBIAN_PACKAGE "Install the Debian packages' documentation files" OFF)

set(COMMONTOOLS_DEB_RUNTIME libcommontools${PROJECT_VERSION_MAJOR})
set(COMMONTOOLS_DEB_DEVELOPMENT libcommontools-dev)
set(COMMONTOOLS_DEB_TOOL commontools)
set(COMMONTOOLS_DEB_TESTS commontools-tests)
set(COMMONTOOLS_DEB_COMPONENTS Runtime Development Tool)
if(COMMONTOOLS_INSTALL_TESTS)
    list(APPEND COMMONTOOLS_DEB_COMPONENTS Tests)
endif()
set(COMMONTOOLS_DEB_MAINTAINER "CommonTools developers <commontools@example.org>")
set(COMMONTOOLS_DEB_DIR ${PROJECT_SOURCE_DIR}/cmake/debian)

if(COMMONTOOLS_DEBIAN_PACKAGE)
    # The changelog's latest entry is the version being packaged.
    file(STRINGS ${COMMONTOOLS_DEB_DIR}/changelog first_line LIMIT_COUNT 1)
    if(NOT first_line MATCHES "^commontools \\(${PROJECT_VERSION}\\) ")
        message(FATAL_ERROR "cmake/debian/changelog starts with '${first_line}': "
            "add an entry for version ${PROJECT_VERSION} first")
    endif()

    find_program(COMMONTOOLS_GZIP gzip REQUIRED)
    set(generated ${PROJECT_BINARY_DIR}/debian)
    set(compressed "")
    # gzip -9n: the same bytes on every build and architecture.
    foreach(pair "changelog:${COMMONTOOLS_DEB_DIR}/changelog"
                 "commontools.1:${PROJECT_BINARY_DIR}/debian/commontools.1")
        string(REPLACE ":" ";" pair "${pair}")
        list(GET pair 0 name)
        list(GET pair 1 source)
        add_custom_command(OUTPUT ${generated}/${name}.gz
            COMMAND ${COMMONTOOLS_GZIP} -9n -c ${source} > ${generated}/${name}.gz
            DEPENDS ${source})
        list(APPEND compressed ${generated}/${name}.gz)
    endforeach()
    configure_file(${PROJECT_SOURCE_DIR}/tools/commontools/commontools.1.in ${generated}/commontools.1 @ONLY)
    add_custom_target(debian-files ALL DEPENDS ${compressed})

    foreach(component ${COMMONTOOLS_DEB_COMPONENTS})
        string(TOUPPER ${component} upper)
        set(package ${COMMONTOOLS_DEB_${upper}})
        install(FILES ${COMMONTOOLS_DEB_DIR}/copyright ${generated}/changelog.gz
            DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package}
            COMPONENT ${component})
    endforeach()
    install(FILES ${generated}/commontools.1.gz
        DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
        COMPONENT Tool)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME commontools)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "CommonTools developers")
# CPack's own default: a package's description then starts with the
# synopsis of its component's description, not with a shared one.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${CMAKE_PROJECT_NAME} built using CMake")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL ${COMMONTOOLS_DEB_COMPONENTS})

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${COMMONTOOLS_DEB_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_SOURCE commontools)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
if(COMMONTOOLS_DEBIAN_ARCH)
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${COMMONTOOLS_DEBIAN_ARCH})
endif()
# What the binaries need, from dpkg-shlibdeps; the packages of one release
# depend on each other exactly.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
# The tool's library is in the build tree; its package is named by the
# component dependency above.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src)
# Cross-built, dpkg-shlibdeps reads the target's package database in the
# sysroot (see scripts/cross).
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_SOURCE_DIR}/cmake/CommonToolsCPackOptions.cmake)
set(CPACK_COMMONTOOLS_SYSROOT "${CMAKE_SYSROOT}")
set(CPACK_COMMONTOOLS_MULTIARCH "${CMAKE_LIBRARY_ARCHITECTURE}")

set(summary "common services for a Qt machine-vision client")
set(about "CommonTools gives a Qt machine-vision client on Linux everything that is
not camera-specific: application identity, folders and INI settings; device
enumeration filters and feature settings; messages for result codes, in
English and Simplified Chinese; text in any code page; IPv4, subnet mask and
MAC helpers; shell commands, process control and facts about the machine;
file dialogs and storage checks; conversion of point files, with CRC-32; an
expression calculator; and a logging facade over log4qt.")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${COMMONTOOLS_DEB_RUNTIME})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "${summary}\n${about}\n.\nThis package holds the shared library.")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${COMMONTOOLS_DEB_DIR}/triggers)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME ${COMMONTOOLS_DEB_DEVELOPMENT})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
# A client compiles against Qt's headers too, through these.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "qtbase5-dev")
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS Runtime)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "${summary} - development files\n${about}\n.\nThis package holds the headers, the CMake package, the pkg-config file\nand the API reference.")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME ${COMMONTOOLS_DEB_TOOL})
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
set(CPACK_COMPONENT_TOOL_DEPENDS Runtime)
set(CPACK_COMPONENT_TOOL_DESCRIPTION "command-line access to the CommonTools library\ncommontools runs the services of CommonTools from a shell: the client's\nidentity, folders and settings, messages for result codes, the calculator,\naddress helpers, point file conversions and facts about the machine.\n.\n${about}")

set(CPACK_DEBIAN_TESTS_PACKAGE_NAME ${COMMONTOOLS_DEB_TESTS})
set(CPACK_DEBIAN_TESTS_PACKAGE_SECTION misc)
set(CPACK_COMPONENT_TESTS_DEPENDS Runtime Tool)
set(CPACK_COMPONENT_TESTS_DESCRIPTION "tests of the CommonTools library, to check a machine with it\ncommontools-selftest runs the tests of CommonTools on the machine it is\ninstalled on, against its kernel, file systems and processor, and sums up\nhow many passed and failed: one command checks a board in the field.\n.\n${about}")

include(CPack)
