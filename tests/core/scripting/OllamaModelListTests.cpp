#include <gtest/gtest.h>

#include "LoopbackHttpServer.h"
#include "core/macros/AIServiceError.h"
#include "core/macros/OllamaClient.h"

namespace wordloom {
namespace {

using test::LoopbackHttpServer;
using namespace std::chrono_literals;

TEST(OllamaModelList, AsksForTheTagsBesideTheGenerateCallAndReadsTheNames) {
    LoopbackHttpServer server;
    server.respondWith(200, R"({"models":[{"name":"llama3.2:latest","size":1},{"name":"mistral"},
                                          {"model":"nameless"}]})");
    const auto endpoint = OllamaEndpoint::parse(server.endpoint() + "/ollama");
    EXPECT_EQ(OllamaClient().listModels(endpoint),
              (std::vector<std::string>{"llama3.2:latest", "mistral"}));
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].method, "GET");
    EXPECT_EQ(requests[0].path, "/ollama/api/tags");
}

TEST(OllamaModelList, ReportsRefusalsBadAnswersAndSilence) {
    LoopbackHttpServer server;
    const auto endpoint = OllamaEndpoint::parse(server.endpoint());
    server.respondWith(404, "not here");
    EXPECT_THROW(OllamaClient().listModels(endpoint), AIServiceError);
    for (const char* garbage : {"<html>", R"({"models":3})", "[]", ""}) {
        server.respondWith(200, garbage);
        EXPECT_THROW(OllamaClient().listModels(endpoint), OllamaDecodingError) << garbage;
    }
    server.respondWith(200, R"({"models":[]})", 10s);
    OllamaClientOptions options;
    options.totalTimeout = 200ms;
    EXPECT_THROW(OllamaClient(options).listModels(endpoint), AIServiceError);
}

}  // namespace
}  // namespace wordloom
