# Chooses what computes the point files' checksum and defines the internal
# target CommonToolsCrc32 for it.
#
# ISA-L (Debian libisal-dev) on the processors for which it has optimised
# code: x86-64 and 64-bit ARM. zlib elsewhere; on 32-bit ARM the library
# also uses the ARMv8 CRC32 instructions where the processor has them.

add_library(CommonToolsCrc32 INTERFACE)

if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64|aarch64|arm64)$")
    find_path(ISAL_INCLUDE_DIR isa-l/crc.h)
    find_library(ISAL_LIBRARY NAMES isal)
    if(NOT ISAL_INCLUDE_DIR OR NOT ISAL_LIBRARY)
        message(FATAL_ERROR
            "ISA-L not found: install libisal-dev (scripts/setup does). "
            "It computes the checksum on ${CMAKE_SYSTEM_PROCESSOR}.")
    endif()
    target_include_directories(CommonToolsCrc32 INTERFACE ${ISAL_INCLUDE_DIR})
    target_link_libraries(CommonToolsCrc32 INTERFACE ${ISAL_LIBRARY})
    target_compile_definitions(CommonToolsCrc32 INTERFACE COMMONTOOLS_CRC32_ISAL=1)
    set(COMMONTOOLS_CRC32_BACKEND isa-l)
    set(COMMONTOOLS_CRC32_PC_LIBS "-lisal")
    message(STATUS "crc32: ISA-L (${ISAL_LIBRARY})")
else()
    find_package(ZLIB REQUIRED)
    target_link_libraries(CommonToolsCrc32 INTERFACE ZLIB::ZLIB)
    target_compile_definitions(CommonToolsCrc32 INTERFACE COMMONTOOLS_CRC32_ISAL=0)
    set(COMMONTOOLS_CRC32_BACKEND zlib)
    set(COMMONTOOLS_CRC32_PC_LIBS "-lz")
    message(STATUS "crc32: zlib (${ZLIB_LIBRARIES})")
endif()
