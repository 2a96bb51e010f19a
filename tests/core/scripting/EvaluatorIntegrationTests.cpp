#include <gtest/gtest.h>

#include "LoopbackHttpServer.h"
#include "core/macros/AIService.h"
#include "core/macros/JavaScriptRunner.h"
#include "core/macros/MacroEvaluator.h"

namespace wordloom {
namespace {

// The evaluator with the real runner and service behind its {{js:...}} and {{ai:...}}.
class EvaluatorIntegrationTest : public ::testing::Test {
  protected:
    EvaluatorIntegrationTest() {
        context.capturedClipboard = "from the clipboard";
        context.capturedSelectedText = "selected words";
        context.javaScriptRunner = &runner;
        context.aiService = &ai;
    }

    std::string expand(const std::string& content) {
        return evaluator.evaluate(content, context).expandedContent;
    }

    JavaScriptRunner runner{JavaScriptRunnerOptions{.helperPath = WORDLOOM_TEST_JSRUNNER_PATH}};
    test::LoopbackHttpServer server;
    AIService ai{[this] { return AIServiceSettings{AIProvider::ollama, server.endpoint(), ""}; }};
    MacroEvaluator evaluator;
    EvaluationContext context;
};

TEST_F(EvaluatorIntegrationTest, ScriptsSeeTheExpansionsCapturedText) {
    EXPECT_EQ(expand("A{{js:return context.selectedText.toUpperCase() + '/' + clipboard}}Z"),
              "ASELECTED WORDS/from the clipboardZ");
    EXPECT_EQ(expand("{{js:return require('fs')}}"),
              "[JS Error: Script attempted to access restricted functionality]");
}

TEST_F(EvaluatorIntegrationTest, AIMacrosAskTheLocalServer) {
    server.respondWith(200, R"({"response":"Bonjour"})");
    EXPECT_EQ(expand("> {{ai:Translate to French: $selected}}"), "> Bonjour");
    ASSERT_EQ(server.requests().size(), 1u);
    EXPECT_NE(server.requests()[0].body.find("Translate to French: selected words"),
              std::string::npos);

    server.respondWith(500, "busy");
    EXPECT_EQ(expand("{{ai:again}}"), "AI macro failed: Ollama HTTP 500: busy");
}

}  // namespace
}  // namespace wordloom
