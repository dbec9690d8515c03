# Installs the portable SDK for other CMake projects:
#   find_package(quorvel 0.1 CONFIG REQUIRED)
#   target_link_libraries(app PRIVATE quorvel::sdk_api)
include(CMakePackageConfigHelpers)

set(QUORVEL_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/quorvel)
install(TARGETS quorvel_sdk_json quorvel_sdk_dto quorvel_sdk_core quorvel_sdk_api
    EXPORT quorvelTargets
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT quorvelTargets NAMESPACE quorvel:: DESTINATION ${QUORVEL_PACKAGE_DIR})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/quorvelConfig.cmake.in
    ${PROJECT_BINARY_DIR}/quorvelConfig.cmake
    INSTALL_DESTINATION ${QUORVEL_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/quorvelConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/quorvelConfig.cmake ${PROJECT_BINARY_DIR}/quorvelConfigVersion.cmake
    DESTINATION ${QUORVEL_PACKAGE_DIR})
