#include <gtest/gtest.h>

#include "core/macros/AIService.h"
#include "core/macros/AIServiceError.h"
#include "core/macros/CurlLibrary.h"
#include "core/macros/OllamaClient.h"
#include "core/macros/OllamaEndpoint.h"

namespace wordloom {
namespace {

// ctest runs every test in a process of its own; run by hand, an earlier test may already
// have loaded libcurl, and then there is nothing left to observe.
#define SKIP_IF_CURL_ALREADY_LOADED()                                            \
    if (CurlLibrary::isLoaded()) {                                               \
        GTEST_SKIP() << "libcurl was loaded by an earlier test in this process"; \
    }

TEST(CurlLoadingTest, NothingLoadsLibcurlUntilAnEndpointIsChecked) {
    SKIP_IF_CURL_ALREADY_LOADED();
    const OllamaClient client;
    const AIService service([] { return AIServiceSettings{}; });
    EXPECT_FALSE(CurlLibrary::isLoaded());

    const auto endpoint = OllamaEndpoint::parse("http://localhost:11434/");
    EXPECT_EQ(endpoint.generateURL, "http://localhost:11434/api/generate");
    EXPECT_TRUE(CurlLibrary::isLoaded());
}

TEST(CurlLoadingTest, LoadingTwiceHandsBackTheSameCalls) {
    const CurlLibrary& first = CurlLibrary::get();
    const CurlLibrary& second = CurlLibrary::get();
    EXPECT_EQ(&first, &second);
    EXPECT_NE(first.easyInit, nullptr);
    EXPECT_NE(first.urlGet, nullptr);
}

TEST(CurlLoadingTest, AMissingOrWrongLibraryIsNamedInTheError) {
    const auto messageOf = [](const char* soname) {
        try {
            CurlLibrary::load(soname);
        } catch (const AIServiceError& error) {
            EXPECT_EQ(error.kind(), AIServiceError::Kind::ollamaConnectionFailed);
            return std::string(error.what());
        }
        return std::string("no error");
    };
    const auto missing = messageOf("libwordloom-no-such-library.so");
    EXPECT_NE(missing.find("libwordloom-no-such-library.so could not be loaded"), std::string::npos)
        << missing;
    EXPECT_NE(missing.find("install libcurl4"), std::string::npos) << missing;

    const auto wrong = messageOf("libc.so.6");
    EXPECT_NE(wrong.find("libc.so.6 has no curl_global_init"), std::string::npos) << wrong;
}

}  // namespace
}  // namespace wordloom
