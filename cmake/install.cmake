# `cmake --install`: libraries, headers, tool, pkg-config files and CMake package; with --component
# runtime, development or tools, a part of them. `cpack --config CPackSourceConfig.cmake` makes the
# source tarball.

include(CMakePackageConfigHelpers)

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME development)

install(TARGETS trellis EXPORT trellis
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(TARGET trellis_static)
    install(TARGETS trellis_static EXPORT trellis
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
endif()
install(DIRECTORY include/trellis DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
if(TRELLIS_BUILD_HOST)
    install(TARGETS trellis_host EXPORT trellis-host ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
    install(DIRECTORY host/include/trellis
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.hpp")
endif()
if(TRELLIS_BUILD_TOOL)
    install(TARGETS trellis-tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
    install(FILES packaging/desktop/trellis.xml
        DESTINATION ${CMAKE_INSTALL_DATADIR}/mime/packages COMPONENT tools)
    install(FILES packaging/desktop/trellis.thumbnailer
        DESTINATION ${CMAKE_INSTALL_DATADIR}/thumbnailers COMPONENT tools)
endif()

# The package files find their prefix from their own place, so an installed tree can be moved.
file(RELATIVE_PATH TRELLIS_PREFIX_FROM_PKGCONFIG
    /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" TRELLIS_PREFIX_FROM_PKGCONFIG ${TRELLIS_PREFIX_FROM_PKGCONFIG})
configure_file(packaging/trellis.pc.in trellis.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/trellis.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(TRELLIS_BUILD_HOST)
    configure_file(packaging/trellis-host.pc.in trellis-host.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/trellis-host.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endif()

set(TRELLIS_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/trellis)
install(EXPORT trellis NAMESPACE trellis:: FILE trellis-targets.cmake DESTINATION ${TRELLIS_CMAKE_DIR})
if(TRELLIS_BUILD_HOST)
    install(EXPORT trellis-host NAMESPACE trellis::
        FILE trellis-host-targets.cmake DESTINATION ${TRELLIS_CMAKE_DIR})
endif()
configure_package_config_file(packaging/trellis-config.cmake.in trellis-config.cmake
    INSTALL_DESTINATION ${TRELLIS_CMAKE_DIR})
write_basic_package_version_file(trellis-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/trellis-config.cmake
    ${PROJECT_BINARY_DIR}/trellis-config-version.cmake
    DESTINATION ${TRELLIS_CMAKE_DIR})

set(CPACK_PACKAGE_NAME trellis)
set(CPACK_SOURCE_GENERATOR TGZ)
set(CPACK_SOURCE_PACKAGE_FILE_NAME trellis-${PROJECT_VERSION})
set(CPACK_SOURCE_IGNORE_FILES "/[.]git/;/build/;/[.]cache/;compile_commands[.]json")
include(CPack)
