# QmInstall.cmake - headers, libraries, pkg-config file and CMake package.

include(CMakePackageConfigHelpers)

install(TARGETS qm-base qm-base-static EXPORT qm-base-targets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})

# Public headers include nothing of C++; the library's inner ones do not go out.
foreach(folder IN LISTS QM_FOLDERS)
    file(GLOB headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${folder}/*.h)
    foreach(header IN LISTS headers)
        file(STRINGS ${header} is_public REGEX "^UPNP_C_BEGIN|define UPNP_C_BEGIN" LIMIT_COUNT 1)
        if(is_public)
            install(FILES ${header}
                    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qm-base/${folder})
        endif()
    endforeach()
endforeach()

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/qm-base)
set_target_properties(qm-base-static PROPERTIES EXPORT_NAME qm-base-static)
install(EXPORT qm-base-targets NAMESPACE qm:: DESTINATION ${package_dir})
configure_package_config_file(cmake/qm-base-config.cmake.in
    qm-base-config.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(qm-base-config-version.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/qm-base-config.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/qm-base-config-version.cmake
        DESTINATION ${package_dir})

configure_file(cmake/qm-base.pc.in qm-base.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/qm-base.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
