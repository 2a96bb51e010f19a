wordloom_benchmark(macros_bench macros_bench.cpp DEPS wordloom_macros)

# Not a Google Benchmark: a fixed number of parses and evaluations for callgrind to count (see the
# source).
add_executable(macros_instructions macros_instructions.cpp)
target_compile_options(macros_instructions PRIVATE ${WORDLOOM_WARNINGS})
target_link_libraries(macros_instructions PRIVATE wordloom_macros)
