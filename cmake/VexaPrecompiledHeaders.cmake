# Two precompiled headers are built once and shared: vexa_pch by the libraries and
# programs, vexa_test_pch by the tests.
#
# vexa_precompile(TARGET)       makes TARGET use the headers below
# vexa_precompile_test(TARGET)  the same, and GoogleTest

set(VEXA_PRECOMPILED
    <algorithm>
    <array>
    <chrono>
    <condition_variable>
    <cstdint>
    <deque>
    <functional>
    <map>
    <memory>
    <mutex>
    <optional>
    <random>
    <set>
    <span>
    <sstream>
    <string>
    <string_view>
    <thread>
    <unordered_map>
    <utility>
    <variant>
    <vector>
    <boost/asio.hpp>
    <boost/json.hpp>
)

# A target can only share a precompiled header that was compiled with its own flags.
# Nothing but position independence differs between ours, and only in a shared build.
function(vexa_add_precompiled name)
    set(source "${PROJECT_BINARY_DIR}/precompiled/${name}.cpp")
    if(NOT EXISTS "${source}")
        file(WRITE "${source}" "")
    endif()
    add_library(${name} OBJECT EXCLUDE_FROM_ALL "${source}")
    vexa_compile_settings(${name})
    target_link_libraries(${name} PRIVATE Boost::headers Boost::json Threads::Threads)
    target_precompile_headers(${name} PRIVATE ${VEXA_PRECOMPILED} ${ARGN})
endfunction()

function(vexa_precompile target)
    if(NOT VEXA_PRECOMPILED_HEADERS)
        return()
    endif()
    get_target_property(type ${target} TYPE)
    if(BUILD_SHARED_LIBS AND type STREQUAL "EXECUTABLE")
        return()
    endif()
    if(NOT TARGET vexa_pch)
        vexa_add_precompiled(vexa_pch)
        set_target_properties(vexa_pch PROPERTIES POSITION_INDEPENDENT_CODE "${BUILD_SHARED_LIBS}")
    endif()
    target_precompile_headers(${target} REUSE_FROM vexa_pch)
endfunction()

function(vexa_precompile_test target)
    if(NOT VEXA_PRECOMPILED_HEADERS)
        return()
    endif()
    if(NOT TARGET vexa_test_pch)
        vexa_add_precompiled(vexa_test_pch <gtest/gtest.h>)
        target_link_libraries(vexa_test_pch PRIVATE GTest::gtest)
    endif()
    target_precompile_headers(${target} REUSE_FROM vexa_test_pch)
endfunction()
