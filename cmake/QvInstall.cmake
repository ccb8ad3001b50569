# What `cmake --install` lays out: programs, libraries, public headers, the sample data, and the two descriptions by
# which another project finds them, a CMake package and a pkg-config file. The tree may be moved afterwards.

include(CMakePackageConfigHelpers)

set(QV_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/QVLumivale)
set_target_properties(qvautomation PROPERTIES EXPORT_NAME Automation)
set_target_properties(qvevents PROPERTIES EXPORT_NAME Events)
set_target_properties(qvstore PROPERTIES EXPORT_NAME Store)
set_target_properties(qvdatabase PROPERTIES EXPORT_NAME Database)
set_target_properties(QVLumivale PROPERTIES EXPORT_NAME Service)
target_compile_features(qvautomation INTERFACE cxx_std_17)
target_compile_features(qvevents INTERFACE cxx_std_17)

install(TARGETS qvautomation qvevents EXPORT QVLumivaleTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS qvstore qvdatabase QVLumivale EXPORT QVLumivaleTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS lumivale-host lumivale-refserver RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/qvant DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/sample DESTINATION ${CMAKE_INSTALL_DATADIR}/qvlumivale)

install(EXPORT QVLumivaleTargets NAMESPACE QVLumivale:: DESTINATION ${QV_PACKAGE_DIR})
configure_package_config_file(
    ${PROJECT_SOURCE_DIR}/cmake/QVLumivaleConfig.cmake.in ${PROJECT_BINARY_DIR}/QVLumivaleConfig.cmake
    INSTALL_DESTINATION ${QV_PACKAGE_DIR}
    PATH_VARS CMAKE_INSTALL_LIBDIR CMAKE_INSTALL_DATADIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/QVLumivaleConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/QVLumivaleConfig.cmake ${PROJECT_BINARY_DIR}/QVLumivaleConfigVersion.cmake
        DESTINATION ${QV_PACKAGE_DIR})

# From the description's own folder up to the prefix, so that the file holds no absolute path.
file(RELATIVE_PATH QV_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(${PROJECT_SOURCE_DIR}/cmake/qvlumivale.pc.in ${PROJECT_BINARY_DIR}/qvlumivale.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qvlumivale.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
