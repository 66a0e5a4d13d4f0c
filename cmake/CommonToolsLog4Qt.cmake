# Chooses the log4qt the library links against and defines the internal
# target CommonToolsLog4Qt for it.
#
# A full Log4Qt package (find_package(Log4Qt)) brings its own headers and is
# preferred. Otherwise the log4qt 1.x build shipped as libukui-log4qt is used:
# it exports every Log4Qt symbol but installs no headers, so the library
# declares the few classes it calls in src/log/log4qt_p.h.

find_package(Log4Qt CONFIG QUIET)

add_library(CommonToolsLog4Qt INTERFACE)

if(Log4Qt_FOUND AND (TARGET Log4Qt::log4qt OR TARGET Log4Qt::Log4Qt))
    if(TARGET Log4Qt::log4qt)
        target_link_libraries(CommonToolsLog4Qt INTERFACE Log4Qt::log4qt)
    else()
        target_link_libraries(CommonToolsLog4Qt INTERFACE Log4Qt::Log4Qt)
    endif()
    target_compile_definitions(CommonToolsLog4Qt INTERFACE COMMONTOOLS_LOG4QT_PACKAGE=1)
    set(COMMONTOOLS_LOG4QT_PC_LIBS "")
    message(STATUS "log4qt: using the Log4Qt package from ${Log4Qt_DIR}")
else()
    # The -dev package installs the unversioned link name; the runtime
    # package alone has only the SONAME, which links just as well.
    find_library(UKUI_LOG4QT_LIBRARY
        NAMES ukui-log4qt libukui-log4qt.so.1
        PATHS /usr/lib /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE})
    if(NOT UKUI_LOG4QT_LIBRARY)
        message(FATAL_ERROR
            "log4qt not found: install libukui-log4qt1 and libukui-log4qt-dev "
            "(scripts/setup does), or a Log4Qt CMake package.")
    endif()
    target_link_libraries(CommonToolsLog4Qt INTERFACE "${UKUI_LOG4QT_LIBRARY}")
    target_compile_definitions(CommonToolsLog4Qt INTERFACE COMMONTOOLS_LOG4QT_PACKAGE=0)
    set(COMMONTOOLS_LOG4QT_PC_LIBS "-lukui-log4qt")
    message(STATUS "log4qt: using ${UKUI_LOG4QT_LIBRARY} with the library's own declarations")
endif()
