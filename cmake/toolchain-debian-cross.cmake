# Cross-compiles for another Debian architecture with Debian's cross
# compilers, against a sysroot of that architecture's packages, and runs the
# target's programs (tests, tool) under qemu-user.
#
#   cmake -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-debian-cross.cmake \
#         -DCOMMONTOOLS_DEBIAN_ARCH=armhf -DCMAKE_SYSROOT=/path/to/sysroot ...
#
# scripts/cross makes the sysroot and passes these; any Debian architecture
# with a cross compiler (g++-<gnu type>) and a qemu-user emulator works.
#
# Optional: COMMONTOOLS_EMULATOR (default qemu-<cpu>-static) and
# COMMONTOOLS_HOST_QT_BINDIR (default /usr/lib/qt5/bin), where the build
# machine's moc, rcc and uic are.

# try_compile() projects read this file again and need the same values.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES
    COMMONTOOLS_DEBIAN_ARCH COMMONTOOLS_EMULATOR COMMONTOOLS_HOST_QT_BINDIR)

if(NOT COMMONTOOLS_DEBIAN_ARCH)
    message(FATAL_ERROR "toolchain-debian-cross: set COMMONTOOLS_DEBIAN_ARCH (armhf, arm64, ...)")
endif()
if(NOT CMAKE_SYSROOT)
    message(FATAL_ERROR "toolchain-debian-cross: set CMAKE_SYSROOT to the target's sysroot")
endif()

function(_commontools_dpkg_architecture variable result)
    execute_process(
        COMMAND dpkg-architecture -a ${COMMONTOOLS_DEBIAN_ARCH} -q ${variable}
        OUTPUT_VARIABLE value OUTPUT_STRIP_TRAILING_WHITESPACE
        ERROR_QUIET RESULT_VARIABLE status)
    if(NOT status EQUAL 0 OR NOT value)
        message(FATAL_ERROR "toolchain-debian-cross: dpkg-architecture knows no ${COMMONTOOLS_DEBIAN_ARCH}")
    endif()
    set(${result} "${value}" PARENT_SCOPE)
endfunction()

_commontools_dpkg_architecture(DEB_HOST_GNU_TYPE _commontools_gnu_type)
_commontools_dpkg_architecture(DEB_HOST_GNU_CPU _commontools_gnu_cpu)
_commontools_dpkg_architecture(DEB_HOST_MULTIARCH _commontools_multiarch)

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${_commontools_gnu_cpu})
set(CMAKE_LIBRARY_ARCHITECTURE ${_commontools_multiarch})

set(CMAKE_C_COMPILER ${_commontools_gnu_type}-gcc)
set(CMAKE_CXX_COMPILER ${_commontools_gnu_type}-g++)

# Libraries, headers and packages from the sysroot only; programs that run
# during the build from the build machine.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${CMAKE_SYSROOT}")
set(ENV{PKG_CONFIG_LIBDIR}
    "${CMAKE_SYSROOT}/usr/lib/${_commontools_multiarch}/pkgconfig:${CMAKE_SYSROOT}/usr/lib/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig")

# The target's programs run under qemu-user; its loader and libraries come
# from the sysroot (QEMU_LD_PREFIX, set where they run: see the tests).
if(NOT COMMONTOOLS_EMULATOR)
    set(_commontools_qemu_cpu ${_commontools_gnu_cpu})
    if(_commontools_qemu_cpu MATCHES "^arm")
        set(_commontools_qemu_cpu arm)
    endif()
    set(COMMONTOOLS_EMULATOR /usr/bin/qemu-${_commontools_qemu_cpu}-static)
endif()
set(CMAKE_CROSSCOMPILING_EMULATOR ${COMMONTOOLS_EMULATOR})

# The sysroot's Qt brings moc, rcc and uic built for the target; Qt's CMake
# files look for them there. Defining the targets first makes them the build
# machine's own.
if(NOT COMMONTOOLS_HOST_QT_BINDIR)
    set(COMMONTOOLS_HOST_QT_BINDIR /usr/lib/qt5/bin)
endif()
foreach(_commontools_tool moc rcc uic)
    if(NOT TARGET Qt5::${_commontools_tool} AND EXISTS ${COMMONTOOLS_HOST_QT_BINDIR}/${_commontools_tool})
        add_executable(Qt5::${_commontools_tool} IMPORTED)
        set_target_properties(Qt5::${_commontools_tool} PROPERTIES
            IMPORTED_LOCATION ${COMMONTOOLS_HOST_QT_BINDIR}/${_commontools_tool})
    endif()
endforeach()

# What the target's programs need in their environment under the emulator:
# the sysroot's loader and libraries, and Qt's plugins named by their path
# in the sysroot (qemu-aarch64 does not redirect stat() of sysroot-only
# paths, so Qt would not find its plugin folder there).
set(COMMONTOOLS_CROSSCOMPILING_ENVIRONMENT
    "QEMU_LD_PREFIX=${CMAKE_SYSROOT}"
    "QT_PLUGIN_PATH=${CMAKE_SYSROOT}/usr/lib/${_commontools_multiarch}/qt5/plugins")
