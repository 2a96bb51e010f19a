#pragma once

#include <cstdio>
#include <cstdlib>
#include <string_view>

// Stops the run with a message libFuzzer keeps next to the crashing input.
#define FUZZ_CHECK(condition)                                                                  \
    do {                                                                                       \
        if (!(condition)) {                                                                    \
            std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #condition); \
            std::abort();                                                                      \
        }                                                                                      \
    } while (false)

namespace wordloom::fuzz {

inline std::string_view asText(const unsigned char* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

}  // namespace wordloom::fuzz
