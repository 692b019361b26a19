# check_headers compiles every header of the tree alone, and twice over, so that each one
# includes what it needs and guards against a second inclusion.

set(vexa_header_folders VexaClient)
set(vexa_header_links VexaClient::VexaClient)
if(VEXA_BUILD_TESTS)
    find_package(GTest REQUIRED)
    find_package(rapidcheck REQUIRED)
    list(APPEND vexa_header_folders testing tests fuzz)
    list(APPEND vexa_header_links VexaClient::Testing GTest::gtest rapidcheck)
endif()
if(VEXA_BUILD_HOST)
    find_package(fmt REQUIRED)
    find_package(CLI11 REQUIRED)
    list(APPEND vexa_header_folders host)
    list(APPEND vexa_header_links VexaClient::Host fmt::fmt CLI11::CLI11)
endif()
if(VEXA_BUILD_BENCH)
    find_package(benchmark REQUIRED)
    list(APPEND vexa_header_folders bench)
    list(APPEND vexa_header_links benchmark::benchmark)
endif()

set(vexa_header_sources "")
foreach(folder IN LISTS vexa_header_folders)
    file(GLOB_RECURSE headers
        CONFIGURE_DEPENDS
        RELATIVE "${PROJECT_SOURCE_DIR}"
        "${PROJECT_SOURCE_DIR}/${folder}/*.hpp"
    )
    foreach(header IN LISTS headers)
        set(source "${PROJECT_BINARY_DIR}/check_headers/${header}.cpp")
        file(CONFIGURE OUTPUT "${source}" CONTENT "#include <${header}>\n#include <${header}>\n")
        list(APPEND vexa_header_sources "${source}")
    endforeach()
endforeach()

add_library(check_headers OBJECT EXCLUDE_FROM_ALL ${vexa_header_sources})
target_include_directories(check_headers PRIVATE "${PROJECT_SOURCE_DIR}")
target_link_libraries(check_headers PRIVATE ${vexa_header_links})
vexa_compile_settings(check_headers)
