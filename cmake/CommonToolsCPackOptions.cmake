# Read by cpack when it makes the packages (CPACK_PROJECT_CONFIG_FILE).
#
# A cross-built package's dependencies come from the target's package
# database in the sysroot: dpkg-shlibdeps is run through a wrapper that
# points it there.
if(CPACK_COMMONTOOLS_SYSROOT)
    set(SHLIBDEPS_EXECUTABLE ${CMAKE_CURRENT_LIST_DIR}/dpkg-shlibdeps-sysroot)
    set(ENV{COMMONTOOLS_SYSROOT} "${CPACK_COMMONTOOLS_SYSROOT}")
    set(ENV{COMMONTOOLS_MULTIARCH} "${CPACK_COMMONTOOLS_MULTIARCH}")
endif()
