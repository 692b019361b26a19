# Installs what find_package(VexaClient) reads.

include(CMakePackageConfigHelpers)

set(vexa_package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/VexaClient")

configure_package_config_file(
    "${PROJECT_SOURCE_DIR}/cmake/VexaClientConfig.cmake.in"
    "${PROJECT_BINARY_DIR}/VexaClientConfig.cmake"
    INSTALL_DESTINATION "${vexa_package_dir}"
)
write_basic_package_version_file(
    "${PROJECT_BINARY_DIR}/VexaClientConfigVersion.cmake"
    COMPATIBILITY SameMinorVersion
)
install(
    FILES
        "${PROJECT_BINARY_DIR}/VexaClientConfig.cmake"
        "${PROJECT_BINARY_DIR}/VexaClientConfigVersion.cmake"
    DESTINATION "${vexa_package_dir}"
)

set(vexa_exports VexaClient)
if(VEXA_BUILD_TESTING)
    list(APPEND vexa_exports Testing)
endif()
if(VEXA_BUILD_HOST)
    list(APPEND vexa_exports Host)
endif()
if(TARGET VexaClientHostNats)
    list(APPEND vexa_exports HostNats)
endif()
foreach(name IN LISTS vexa_exports)
    install(EXPORT VexaClient${name}Targets
        NAMESPACE VexaClient::
        DESTINATION "${vexa_package_dir}"
    )
endforeach()
