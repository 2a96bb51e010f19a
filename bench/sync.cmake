wordloom_benchmark(sync_bench sync_bench.cpp DEPS wordloom_sync)
