# One static library a folder, one test program a test folder: sources are found by folder, so that
# adding a file is all it takes.

add_library(brindle_options INTERFACE)
target_include_directories(brindle_options INTERFACE ${CMAKE_SOURCE_DIR})
target_compile_options(brindle_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor)
if(BRINDLE_WERROR)
    target_compile_options(brindle_options INTERFACE -Werror)
endif()
if(BRINDLE_SANITIZE)
    target_compile_options(brindle_options INTERFACE -fsanitize=${BRINDLE_SANITIZE}
                                                     -fno-omit-frame-pointer
                                                     -fno-sanitize-recover=all)
    target_link_options(brindle_options INTERFACE -fsanitize=${BRINDLE_SANITIZE})
endif()

# brindle_library(core_log DEPS core_log_records fmt::fmt): a static library of this folder's sources.
function(brindle_library name)
    cmake_parse_arguments(arg "" "" "DEPS;SOURCES" ${ARGN})
    file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
    list(APPEND sources ${arg_SOURCES})
    if(sources)
        add_library(${name} STATIC ${sources})
        target_link_libraries(${name} PUBLIC brindle_options ${arg_DEPS})
    else()
        add_library(${name} INTERFACE)
        target_link_libraries(${name} INTERFACE brindle_options ${arg_DEPS})
    endif()
endfunction()

# brindle_program(tallyctl DEPS ...): an executable under build/<preset>/bin made from main.cpp.
function(brindle_program name)
    cmake_parse_arguments(arg "" "" "DEPS" ${ARGN})
    add_executable(${name} ${CMAKE_CURRENT_SOURCE_DIR}/main.cpp)
    target_link_libraries(${name} PRIVATE brindle_options ${arg_DEPS})
endfunction()

# brindle_test(test_core_log DEPS core_log [LABELS unit] [NOMAIN] [SERIAL]): one test program of this
# folder's sources; ctest lists each of its cases.
function(brindle_test name)
    cmake_parse_arguments(arg "NOMAIN;SERIAL" "" "DEPS;LABELS" ${ARGN})
    file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
    if(NOT sources)
        return()
    endif()
    if(NOT arg_LABELS)
        set(arg_LABELS unit)
    endif()
    add_executable(${name} ${sources})
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
    target_link_libraries(${name} PRIVATE brindle_options ${arg_DEPS} GTest::gmock GTest::gtest)
    if(NOT arg_NOMAIN)
        target_link_libraries(${name} PRIVATE GTest::gtest_main)
    endif()
    # Under a sanitizer the same work takes many times as long.
    set(seconds 120)
    if(BRINDLE_SANITIZE)
        set(seconds 600)
    endif()
    set(properties LABELS "${arg_LABELS}" TIMEOUT ${seconds})
    if(arg_LABELS STREQUAL "window")
        # They share one display, its focus and its keyboard.
        list(APPEND properties RESOURCE_LOCK display)
    endif()
    if(arg_SERIAL)
        # It measures: nothing else runs meanwhile.
        list(APPEND properties RUN_SERIAL TRUE)
    endif()
    if(BRINDLE_SANITIZE MATCHES "thread")
        list(APPEND properties ENVIRONMENT
             TSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/tsan.supp)
    endif()
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST PROPERTIES ${properties})
endfunction()
