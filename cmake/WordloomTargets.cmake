# Helpers that keep every folder's CMakeLists.txt to a few lines.

set(WORDLOOM_WARNINGS -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wno-missing-field-initializers)

# wordloom_core_library(<name> [DEPS <targets...>])
# A static library made of every .cpp in the calling folder. Headers are included as
# "core/<folder>/Header.h", so the include root is src/.
function(wordloom_core_library name)
    cmake_parse_arguments(ARG "" "" "DEPS" ${ARGN})
    file(GLOB sources CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/*.cpp")
    if(NOT sources)
        # Headers only, so far.
        add_library(${name} INTERFACE)
        target_include_directories(${name} INTERFACE "${PROJECT_SOURCE_DIR}/src")
        target_link_libraries(${name} INTERFACE ${ARG_DEPS})
        return()
    endif()
    add_library(${name} STATIC ${sources})
    target_include_directories(${name} PUBLIC "${PROJECT_SOURCE_DIR}/src")
    target_compile_options(${name} PRIVATE ${WORDLOOM_WARNINGS})
    target_link_libraries(${name} PUBLIC ${ARG_DEPS})
endfunction()

# wordloom_test(<name> [LABELS <labels...>] [DEPS <targets...>] [ENVIRONMENT <VAR=value...>])
# One GoogleTest executable made of every .cpp in the calling folder, registered with CTest.
# Label "unit" marks tests that also run under the sanitizers.
function(wordloom_test name)
    cmake_parse_arguments(ARG "" "" "LABELS;DEPS;ENVIRONMENT" ${ARGN})
    file(GLOB sources CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/*.cpp")
    add_executable(${name} ${sources})
    target_compile_options(${name} PRIVATE ${WORDLOOM_WARNINGS})
    target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/tests")
    target_link_libraries(${name} PRIVATE ${ARG_DEPS} wordloom_test_support GTest::gmock GTest::gtest_main)
    gtest_discover_tests(${name} PROPERTIES LABELS "${ARG_LABELS}" ENVIRONMENT "${ARG_ENVIRONMENT}"
                         DISCOVERY_TIMEOUT 60)
endfunction()
