wordloom_benchmark(detection_bench detection_bench.cpp DEPS wordloom_expansion wordloom_platform_fake)

# Not a Google Benchmark: a fixed amount of typing for callgrind to count (see the source).
add_executable(detection_instructions detection_instructions.cpp)
target_compile_options(detection_instructions PRIVATE ${WORDLOOM_WARNINGS})
target_link_libraries(detection_instructions PRIVATE wordloom_expansion wordloom_platform_fake)
