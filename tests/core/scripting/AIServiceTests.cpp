#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <future>
#include <mutex>

#include "LoopbackHttpServer.h"
#include "core/base/JsonReader.h"
#include "core/base/ManualExecutor.h"
#include "core/macros/AIPrompt.h"
#include "core/macros/AIService.h"
#include "core/macros/AIServiceError.h"

namespace wordloom {
namespace {

using test::LoopbackHttpServer;
using namespace std::chrono_literals;

// A port nothing listens on: bound, never listening, so connections are refused at once.
class ClosedPort {
  public:
    ClosedPort() : server_(std::make_unique<LoopbackHttpServer>()) { port_ = server_->port(); }
    int take() {
        server_.reset();
        return port_;
    }

  private:
    std::unique_ptr<LoopbackHttpServer> server_;
    int port_;
};

class AIServiceTest : public ::testing::Test {
  protected:
    AIService makeService(OllamaClientOptions options = {}) {
        options.onSocketOpen = [this] { ++socketOpens; };
        return AIService([this] { return settings; }, std::move(options));
    }

    std::string failureOf(AIService& service, const std::string& prompt,
                          std::optional<std::string> provider = std::nullopt,
                          std::map<std::string, std::string> variables = {}) {
        try {
            service.generate(prompt, provider, std::nullopt, variables);
        } catch (const std::exception& error) {
            return error.what();
        }
        ADD_FAILURE() << "generate succeeded";
        return {};
    }

    LoopbackHttpServer server;
    AIServiceSettings settings{AIProvider::ollama, server.endpoint(), "mistral"};
    std::atomic<int> socketOpens{0};
};

TEST_F(AIServiceTest, PostsTheGenerateRequestAndReturnsTheTrimmedText) {
    server.respondWith(200, R"({"response":"\n Bonjour \n","done":true})");
    AIService service = makeService();

    EXPECT_EQ(service.generate("Translate: $clipboard", std::nullopt, std::nullopt,
                               {{"clipboard", "Hello"}}),
              "Bonjour");

    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].method, "POST");
    EXPECT_EQ(requests[0].path, "/api/generate");
    EXPECT_EQ(requests[0].contentType, "application/json");
    JsonDocument body(requests[0].body);
    const auto object = json::asObject(body.root());
    ASSERT_TRUE(object);
    EXPECT_EQ(json::asString(*json::member(*object, "model")), "mistral");
    EXPECT_EQ(json::asString(*json::member(*object, "prompt")), "Translate: Hello");
    EXPECT_EQ(json::asString(*json::member(*object, "system")), kAISystemPrompt);
    EXPECT_EQ(json::asBool(*json::member(*object, "stream")), false);
}

TEST_F(AIServiceTest, ChoosesTheMacroModelThenTheSettingThenTheDefault) {
    server.respondWith(200, R"({"response":"ok"})");
    AIService service = makeService();
    auto modelSent = [&](std::optional<std::string> macroModel) {
        service.generate("hi", std::nullopt, macroModel, {});
        JsonDocument body(server.requests().back().body);
        return std::string(*json::asString(*json::member(*json::asObject(body.root()), "model")));
    };

    EXPECT_EQ(modelSent("phi3"), "phi3");
    EXPECT_EQ(modelSent(" "), "mistral");
    settings.ollamaModel = "";
    EXPECT_EQ(modelSent(std::nullopt), "llama3.2");
}

TEST_F(AIServiceTest, ReportsEachKindOfBadAnswer) {
    AIService service = makeService();

    server.respondWith(200, R"({"response":"  "})");
    EXPECT_EQ(failureOf(service, "hi"), "AI model returned an empty response");

    server.respondWith(500, "model crashed");
    EXPECT_EQ(failureOf(service, "hi"), "Ollama HTTP 500: model crashed");

    server.respondWith(404, R"({"error":"model 'x' not found"})");
    EXPECT_EQ(failureOf(service, "hi"), R"(Ollama HTTP 404: {"error":"model 'x' not found"})");

    server.respondWith(200, R"({"error":"out of memory"})");
    EXPECT_EQ(failureOf(service, "hi"), "Ollama HTTP 200: out of memory");

    for (const char* garbage : {"<html>", R"(["response"])", R"({"response":42})", ""}) {
        server.respondWith(200, garbage);
        EXPECT_EQ(failureOf(service, "hi"), "Invalid JSON response from Ollama") << garbage;
    }
}

TEST_F(AIServiceTest, GivesUpOnASlowServer) {
    server.respondWith(200, R"({"response":"late"})", 10s);
    OllamaClientOptions options;
    options.totalTimeout = 200ms;
    AIService service = makeService(options);

    const std::string message = failureOf(service, "hi");

    EXPECT_TRUE(message.starts_with("Local Ollama unavailable (")) << message;
}

TEST_F(AIServiceTest, FallbackNamesBothFailures) {
    settings.provider = AIProvider::appleIntelligenceWithOllamaFallback;
    settings.ollamaEndpoint = "http://127.0.0.1:" + std::to_string(ClosedPort().take());
    AIService service = makeService();

    const std::string message = failureOf(service, "hi");

    EXPECT_TRUE(
        message.starts_with("Apple Intelligence unavailable (not available on this "
                            "platform). Ollama fallback also failed: Local Ollama "
                            "unavailable ("))
        << message;
}

TEST_F(AIServiceTest, FallbackGoesStraightToOllama) {
    server.respondWith(200, R"({"response":"from ollama"})");
    AIService service = makeService();

    EXPECT_EQ(service.generate("hi", "auto", std::nullopt, {}), "from ollama");
    EXPECT_EQ(failureOf(service, "hi", "apple"),
              "Apple Intelligence unavailable (not available on this platform)");
}

TEST_F(AIServiceTest, PrivacyGuardRefusesRemoteHostsBeforeAnyConnection) {
    AIService service = makeService();

    settings.ollamaEndpoint = "http://192.168.1.10:11434";
    EXPECT_EQ(failureOf(service, "hi"),
              "Privacy guard rejected non-local Ollama host '192.168.1.10' (only 127.0.0.1 / "
              "localhost allowed)");
    settings.ollamaEndpoint = "https://OLLAMA.example.com";
    EXPECT_EQ(failureOf(service, "hi"),
              "Privacy guard rejected non-local Ollama host 'ollama.example.com' (only 127.0.0.1 "
              "/ localhost allowed)");
    EXPECT_EQ(socketOpens.load(), 0);

    // The counter does see connections: the allowed local forms reach the network.
    server.respondWith(200, R"({"response":"ok"})");
    settings.ollamaEndpoint = "http://LocalHost:" + std::to_string(server.port());
    EXPECT_EQ(service.generate("hi", std::nullopt, std::nullopt, {}), "ok");
    settings.ollamaEndpoint = "http://[::1]:" + std::to_string(ClosedPort().take());
    EXPECT_TRUE(failureOf(service, "hi").starts_with("Local Ollama unavailable ("));
    EXPECT_GE(socketOpens.load(), 2);
}

TEST_F(AIServiceTest, RejectsEndpointsThatAreNotHttpUrlsWithAHost) {
    AIService service = makeService();
    for (const char* endpoint :
         {"ftp://127.0.0.1:11434", "127.0.0.1:11434", "http://", "", "file:///etc/passwd"}) {
        settings.ollamaEndpoint = endpoint;
        EXPECT_EQ(failureOf(service, "hi"),
                  std::string("Invalid Ollama endpoint URL '") + endpoint + "'");
    }
    EXPECT_EQ(socketOpens.load(), 0);
}

TEST_F(AIServiceTest, RefusesDisabledProviderAndEmptyPrompts) {
    AIService service = makeService();

    EXPECT_EQ(failureOf(service, "hi", "none"), "AI macro is disabled in Preferences");
    settings.provider = AIProvider::disabled;
    EXPECT_EQ(failureOf(service, "hi"), "AI macro is disabled in Preferences");
    EXPECT_EQ(failureOf(service, "hi", "bogus"), "AI macro is disabled in Preferences");

    settings.provider = AIProvider::ollama;
    EXPECT_EQ(failureOf(service, " \n\t "), "Empty AI prompt");
    EXPECT_EQ(failureOf(service, " ${clipboard} ", std::nullopt, {{"clipboard", ""}}),
              "Empty AI prompt");
    EXPECT_TRUE(server.requests().empty());
}

TEST(AIProviderNames, MapsTheAcceptedNames) {
    const std::pair<const char*, std::optional<AIProvider>> cases[] = {
        {" Apple ", AIProvider::appleIntelligence},
        {"on-device", AIProvider::appleIntelligence},
        {"FoundationModels", AIProvider::appleIntelligence},
        {"local", AIProvider::ollama},
        {"fallback", AIProvider::appleIntelligenceWithOllamaFallback},
        {"appleIntelligenceWithOllamaFallback", AIProvider::appleIntelligenceWithOllamaFallback},
        {"NONE\n", AIProvider::disabled},
        {"gpt", std::nullopt},
        {"  ", std::nullopt},
    };
    for (const auto& [name, expected] : cases) {
        EXPECT_EQ(aiProviderNamed(std::string(name)), expected) << name;
    }
    EXPECT_EQ(aiProviderNamed(std::nullopt), std::nullopt);
}

TEST(PromptVariables, SubstitutesBothFormsOnceAndKeepsUnknownReferences) {
    const std::map<std::string, std::string> variables{
        {"clipboard", "$selected"}, {"selected", "SEL"}, {"my-var", "dash"}};

    EXPECT_EQ(substitutePromptVariables("${selected}x $selected.", variables), "SELx SEL.");
    EXPECT_EQ(substitutePromptVariables("${my-var} $my-var", variables), "dash $my-var");
    EXPECT_EQ(substitutePromptVariables("$clipboard", variables), "$selected");
    EXPECT_EQ(substitutePromptVariables("$unknown ${nope} $5 $ ${}", variables),
              "$unknown ${nope} $5 $ ${}");
}

// An on-device model that answers only when told to stop, i.e. never in time. Its signals live
// in shared state because the call outlives the test's wait for it.
class StuckModel final : public OnDeviceTextModel {
  public:
    struct Signals {
        std::promise<void> entered;
        std::promise<void> stopped;
    };
    std::optional<std::string> unavailabilityReason() const override { return std::nullopt; }
    std::string respond(const std::string&, const std::string&, std::stop_token stop) override {
        std::shared_ptr<Signals> signals = signals_;
        signals->entered.set_value();
        std::mutex mutex;
        std::condition_variable_any wake;
        std::unique_lock lock(mutex);
        wake.wait(lock, stop, [] { return false; });
        signals->stopped.set_value();
        return "too late";
    }
    std::shared_ptr<Signals> signals() const { return signals_; }

  private:
    std::shared_ptr<Signals> signals_ = std::make_shared<Signals>();
};

TEST(AIServiceOnDevice, TimesOutAfterTheLimitOfTheInjectedClock) {
    ManualExecutor clock;
    StuckModel model;
    AIService service(
        [] {
            return AIServiceSettings{AIProvider::appleIntelligence, "", ""};
        },
        {}, &model, &clock);

    auto pending = std::async(
        std::launch::async, [&] { return service.generate("hi", std::nullopt, std::nullopt, {}); });
    auto signals = model.signals();
    signals->entered.get_future().wait();
    clock.advance(20s);

    try {
        pending.get();
        ADD_FAILURE() << "generate succeeded";
    } catch (const AIServiceError& error) {
        EXPECT_EQ(error.kind(), AIServiceError::Kind::appleIntelligenceTimedOut);
        EXPECT_STREQ(error.what(), "Apple Intelligence did not respond within 20 seconds");
    }
    // The losing operation is asked to stop.
    signals->stopped.get_future().wait();
}

}  // namespace
}  // namespace wordloom
