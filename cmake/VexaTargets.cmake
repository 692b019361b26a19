# Functions that define the targets of the tree.
#
# vexa_library(TARGET EXPORT_NAME NAME [INCLUDE_DESTINATION DIR] HEADERS ... SOURCES ...)
#     a library, with the alias VexaClient::NAME; HEADERS are the public ones, which are
#     installed under DIR, SOURCES everything else
# vexa_program(TARGET SOURCES ...)
#     a program that is installed
# vexa_test(NAME SOURCES ... [LINK ...] [TIMEOUT SECONDS] [LABELS ...] [WHOLE])
#     the GoogleTest program test_NAME, each case a test NAME.Suite.case of ctest, or with
#     WHOLE the program one test NAME
# vexa_bench(NAME SOURCES ... [LINK ...])
#     the Google Benchmark program bench_NAME
# vexa_fuzzer(NAME SOURCES ... [LINK ...])
#     the fuzzer fuzz_NAME, whose sources define LLVMFuzzerTestOneInput. Its inputs are the files in corpus/NAME, its
#     words those in dictionaries/NAME.dict. The test fuzz.NAME hands it the inputs, also in a build without libFuzzer.

include(CMakeParseArguments)

# Properties of every test.
set(vexa_test_environment "")
if("thread" IN_LIST VEXA_SANITIZE)
    set(vexa_test_environment ENVIRONMENT_MODIFICATION
        "TSAN_OPTIONS=set:suppressions=${PROJECT_SOURCE_DIR}/cmake/thread_sanitizer.supp"
    )
endif()

function(vexa_compile_settings target)
    target_compile_features(${target} PUBLIC cxx_std_20)
    set_target_properties(${target} PROPERTIES
        CXX_EXTENSIONS OFF
        DEFINE_SYMBOL ""
    )
    target_compile_definitions(${target} PRIVATE
        BOOST_ASIO_NO_DEPRECATED
        BOOST_ASIO_NO_TS_EXECUTORS
        BOOST_ASIO_DISABLE_BOOST_COROUTINE
    )
    target_compile_options(${target} PRIVATE
        -Wall
        -Wextra
        -Wpedantic
        -Wcast-align
        -Wcast-qual
        -Wconversion
        -Wdouble-promotion
        -Wextra-semi
        -Wformat=2
        -Wimplicit-fallthrough
        -Wnon-virtual-dtor
        -Wold-style-cast
        -Woverloaded-virtual
        -Wshadow
        -Wsign-conversion
        -Wundef
        -Wunused
    )
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        target_compile_options(${target} PRIVATE
            -Wduplicated-branches
            -Wduplicated-cond
            -Wlogical-op
            -Wredundant-decls
        )
        if(VEXA_SANITIZE OR VEXA_COVERAGE)
            # Instrumented code defeats the analysis behind these warnings.
            target_compile_options(${target} PRIVATE -Wno-maybe-uninitialized -Wno-array-bounds -Wno-tsan)
        endif()
    endif()
    if(VEXA_WARNINGS_AS_ERRORS)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
endfunction()

function(vexa_library target)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "EXPORT_NAME;INCLUDE_DESTINATION" "HEADERS;SOURCES")
    if(arg_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "vexa_library(${target}): unexpected ${arg_UNPARSED_ARGUMENTS}")
    endif()
    if(NOT arg_SOURCES)
        message(FATAL_ERROR "vexa_library(${target}): no SOURCES in ${CMAKE_CURRENT_SOURCE_DIR}/CMakeLists.txt")
    endif()
    if(NOT arg_INCLUDE_DESTINATION)
        set(arg_INCLUDE_DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
    endif()

    add_library(${target})
    add_library(VexaClient::${arg_EXPORT_NAME} ALIAS ${target})
    target_sources(${target}
        PRIVATE ${arg_SOURCES}
        PUBLIC FILE_SET HEADERS BASE_DIRS "${PROJECT_SOURCE_DIR}" FILES ${arg_HEADERS}
    )
    set_target_properties(${target} PROPERTIES
        EXPORT_NAME ${arg_EXPORT_NAME}
        INSTALL_RPATH "$ORIGIN"
        VERSION ${PROJECT_VERSION}
        SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}
    )
    vexa_compile_settings(${target})
    vexa_precompile(${target})

    add_dependencies(vexa_installables ${target})
    if(VEXA_INSTALL)
        install(TARGETS ${target}
            EXPORT VexaClient${arg_EXPORT_NAME}Targets
            RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
            LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
            ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
            FILE_SET HEADERS DESTINATION "${arg_INCLUDE_DESTINATION}"
            INCLUDES DESTINATION "${arg_INCLUDE_DESTINATION}"
        )
    endif()
endfunction()

function(vexa_program target)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES")
    if(arg_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "vexa_program(${target}): unexpected ${arg_UNPARSED_ARGUMENTS}")
    endif()
    add_executable(${target} ${arg_SOURCES})
    vexa_compile_settings(${target})
    vexa_precompile(${target})
    add_dependencies(vexa_installables ${target})
    if(VEXA_INSTALL)
        if(BUILD_SHARED_LIBS)
            file(RELATIVE_PATH to_libraries
                "/${CMAKE_INSTALL_BINDIR}" "/${CMAKE_INSTALL_LIBDIR}"
            )
            set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN/${to_libraries}")
        endif()
        install(TARGETS ${target} RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
    endif()
endfunction()

function(vexa_test name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "WHOLE" "TIMEOUT" "SOURCES;LINK;LABELS")
    if(arg_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "vexa_test(${name}): unexpected ${arg_UNPARSED_ARGUMENTS}")
    endif()
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 120)
    endif()
    set(target test_${name})
    add_executable(${target} ${arg_SOURCES})
    vexa_compile_settings(${target})
    vexa_precompile_test(${target})
    target_link_libraries(${target} PRIVATE
        VexaClient::VexaClient
        VexaClient::Testing
        GTest::gtest
        GTest::gtest_main
        ${arg_LINK}
    )
    if(arg_WHOLE)
        add_test(NAME ${name} COMMAND ${target})
        set_tests_properties(${name} PROPERTIES ${vexa_test_environment} TIMEOUT ${arg_TIMEOUT} LABELS "${arg_LABELS}")
    else()
        gtest_discover_tests(${target}
            TEST_PREFIX "${name}."
            DISCOVERY_TIMEOUT 60
            PROPERTIES ${vexa_test_environment} TIMEOUT ${arg_TIMEOUT} LABELS "${arg_LABELS}"
        )
    endif()
endfunction()

function(vexa_bench name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LINK")
    if(arg_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "vexa_bench(${name}): unexpected ${arg_UNPARSED_ARGUMENTS}")
    endif()
    set(target bench_${name})
    add_executable(${target} ${arg_SOURCES})
    vexa_compile_settings(${target})
    vexa_precompile(${target})
    target_link_libraries(${target} PRIVATE
        VexaClient::VexaClient
        benchmark::benchmark
        benchmark::benchmark_main
        ${arg_LINK}
    )
endfunction()

function(vexa_fuzzer name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LINK")
    if(arg_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "vexa_fuzzer(${name}): unexpected ${arg_UNPARSED_ARGUMENTS}")
    endif()
    set(corpus "${CMAKE_CURRENT_SOURCE_DIR}/corpus/${name}")
    set(dictionary "${CMAKE_CURRENT_SOURCE_DIR}/dictionaries/${name}.dict")
    file(GLOB seeds CONFIGURE_DEPENDS "${corpus}/*")
    if(NOT seeds OR NOT EXISTS "${dictionary}")
        message(FATAL_ERROR "vexa_fuzzer(${name}): needs inputs in ${corpus} and ${dictionary}")
    endif()
    set(target fuzz_${name})
    add_executable(${target} ${arg_SOURCES})
    target_include_directories(${target} PRIVATE "${PROJECT_SOURCE_DIR}")
    vexa_compile_settings(${target})
    vexa_precompile(${target})
    target_link_libraries(${target} PRIVATE VexaClient::VexaClient ${arg_LINK})
    if(VEXA_BUILD_FUZZERS)
        target_link_options(${target} PRIVATE -fsanitize=fuzzer)
        add_test(NAME fuzz.${name} COMMAND ${target} -runs=0 "-dict=${dictionary}" "${corpus}")
    else()
        target_sources(${target} PRIVATE "${PROJECT_SOURCE_DIR}/cmake/ReplayInputs.cpp")
        add_test(NAME fuzz.${name} COMMAND ${target} "${corpus}")
    endif()
    set_tests_properties(fuzz.${name} PROPERTIES TIMEOUT 120 LABELS fuzz)
endfunction()
