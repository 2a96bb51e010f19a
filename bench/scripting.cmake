wordloom_benchmark(scripting_bench scripting_bench.cpp DEPS wordloom_macros)
add_dependencies(scripting_bench wordloom-jsrunner)
target_compile_definitions(scripting_bench PRIVATE
    WORDLOOM_BENCH_JSRUNNER_PATH="$<TARGET_FILE:wordloom-jsrunner>")
