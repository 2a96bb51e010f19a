#include "app/cli/MacroCommands.h"

#include <unistd.h>

#include <iostream>
#include <memory>
#include <mutex>
#include <set>

#include "app/cli/CommandErrors.h"
#include "app/cli/LibraryCommandSupport.h"
#include "app/cli/MacroJson.h"
#include "core/base/Iso8601.h"
#include "core/macros/AIService.h"
#include "core/macros/InlineParameterParser.h"
#include "core/macros/JavaScriptRunner.h"
#include "core/macros/MacroEvaluator.h"

namespace wordloom::cli {
namespace {

using Kind = OptionSpec::Kind;

std::vector<OptionSpec> evaluationOptionSpecs() {
    return {{"arg", Kind::repeatedValue}, {"field", Kind::repeatedValue},
            {"clipboard", Kind::value},   {"selection", Kind::value},
            {"now", Kind::value},         {"json", Kind::flag}};
}

class PinnedClock final : public Clock {
  public:
    explicit PinnedClock(Timestamp now) : now_(now) {}
    Timestamp now() const override { return now_; }

  private:
    Timestamp now_;
};

// Starts the script helper only when a script actually runs: most expansions have none, and
// starting helpers costs a process or two.
class OnDemandScriptRunner final : public JavaScriptExecuting {
  public:
    JavaScriptResult execute(const std::string& script,
                             const std::map<std::string, std::string>& context,
                             const std::string& clipboardContents) override {
        std::call_once(started_, [this] {
            JavaScriptRunnerOptions options;
            options.helperPath = JavaScriptRunner::defaultHelperPath();
            options.keepSpareHelper = false;
            options.idleHelpers = 1;
            // One command runs a script or two: a zygote would cost a process and save nothing.
            options.useZygote = false;
            runner_ = std::make_unique<JavaScriptRunner>(options);
        });
        return runner_->execute(script, context, clipboardContents);
    }

  private:
    std::once_flag started_;
    std::unique_ptr<JavaScriptRunner> runner_;
};

// The macro context a command line run evaluates with.
struct EvaluationSetup {
    std::optional<PinnedClock> clock;
    OnDemandScriptRunner scripts;
    std::unique_ptr<AIService> ai;
    EvaluationContext context;
};

void prepareContext(const ParsedArguments& arguments, LibrarySession& session,
                    EvaluationSetup& setup) {
    EvaluationContext& context = setup.context;
    if (auto now = arguments.value("now")) {
        auto parsed = parseIso8601(*now);
        if (!parsed) {
            throw UsageError(
                "--now needs an ISO 8601 date such as 2026-11-21T09:30:00Z, not \u201c" + *now +
                "\u201d");
        }
        setup.clock.emplace(*parsed);
        context.clock = &*setup.clock;
    }
    context.capturedClipboard = arguments.value("clipboard");
    context.capturedSelectedText = arguments.value("selection");
    context.evaluationPlan = std::make_shared<MacroEvaluationPlan>();
    // Evaluation runs on this thread while the library's loop is idle, so the store may be read
    // directly.
    SnippetStore* store = &session.snippets();
    context.findSnippet = [store](const std::string& abbreviation) -> std::optional<Snippet> {
        const Snippet* chosen = nullptr;
        for (const Snippet* candidate : store->snippetsWithAbbreviation(abbreviation)) {
            if (!chosen || (candidate->isEnabled && !chosen->isEnabled)) {
                chosen = candidate;
            }
        }
        return chosen ? std::optional<Snippet>(*chosen) : std::nullopt;
    };
    context.javaScriptRunner = &setup.scripts;
    setup.ai = std::make_unique<AIService>(
        [settings = AIServiceSettings::from(session.settings().settings())] { return settings; });
    context.aiService = setup.ai.get();
}

bool isInteractive(const CommandInvocation& invocation) {
    return &invocation.in() == &std::cin && isatty(STDIN_FILENO) == 1;
}

// Asks for one field on the terminal; an empty answer or end of input keeps the default.
std::optional<std::string> askFor(const CommandInvocation& invocation, const FillInField& field) {
    std::ostream& prompt = invocation.err();
    prompt << field.name;
    if (field.type == FillInType::checkbox) {
        prompt << (field.defaultValue == checkbox::on ? "? [Y/n]: " : "? [y/N]: ");
    } else {
        if (!field.options.empty()) {
            prompt << " (";
            for (std::size_t i = 0; i < field.options.size(); ++i) {
                prompt << (i > 0 ? ", " : "") << field.options[i];
            }
            prompt << ")";
        }
        prompt << (field.defaultValue.empty() ? "" : " [" + field.defaultValue + "]") << ": ";
    }
    prompt.flush();
    std::string answer;
    if (!std::getline(invocation.in(), answer) || answer.empty()) {
        return std::nullopt;
    }
    if (field.type == FillInType::checkbox) {
        auto bound = InlineParameterParser::bind({field}, {answer});
        return bound.empty() ? std::nullopt : std::optional<std::string>(bound.begin()->second);
    }
    return answer;
}

// Values for the fields: inline arguments first, then --field, then the terminal.
std::map<std::string, std::string> collectValues(const CommandInvocation& invocation,
                                                 const ParsedArguments& arguments,
                                                 std::string_view content,
                                                 const std::vector<FillInField>& fields) {
    const auto& inlineArguments = arguments.values("arg");
    auto values = InlineParameterParser::bind(InlineParameterParser::fillableFields(content),
                                              inlineArguments);
    for (const std::string& assignment : arguments.values("field")) {
        std::size_t equals = assignment.find('=');
        if (equals == std::string::npos || equals == 0) {
            throw UsageError("--field takes NAME=VALUE, not \u201c" + assignment + "\u201d");
        }
        std::string name = assignment.substr(0, equals);
        std::string value = assignment.substr(equals + 1);
        bool matched = false;
        for (const FillInField& field : fields) {
            if (field.valueKey == name || field.name == name) {
                values[field.valueKey] = value;
                matched = true;
            }
        }
        if (!matched) {
            throw CommandError("The content has no fill-in field named \u201c" + name + "\u201d.");
        }
    }
    if (isInteractive(invocation)) {
        std::set<std::string> asked;
        for (const FillInField& field : fields) {
            if (values.count(field.valueKey) > 0 || !asked.insert(field.valueKey).second) {
                continue;
            }
            if (auto answer = askFor(invocation, field)) {
                values[field.valueKey] = *answer;
            }
        }
    }
    return values;
}

MacroEvaluationResult evaluateContent(const CommandInvocation& invocation,
                                      const ParsedArguments& arguments, std::string_view content,
                                      EvaluationContext context) {
    MacroEvaluator evaluator;
    // A preview first finds the fields without running scripts or AI requests.
    EvaluationContext preview = context;
    preview.isPreviewOnly = true;
    auto fields = evaluator.evaluate(content, preview).fillInFields;
    context.fillInValues = collectValues(invocation, arguments, content, fields);
    return evaluator.evaluate(content, std::move(context));
}

MacroEvaluationResult runScriptSnippet(const Snippet& snippet, const EvaluationContext& context) {
    std::map<std::string, std::string> scriptContext{
        {"clipboard", context.capturedClipboard.value_or("")},
        {"selectedText", context.capturedSelectedText.value_or("")}};
    JavaScriptResult run = context.javaScriptRunner->execute(
        snippet.content, scriptContext, context.capturedClipboard.value_or(""));
    MacroEvaluationResult result;
    if (run.error) {
        result.expandedContent = "[JS Error: " + run.error->description() + "]";
        result.macroErrors.push_back(result.expandedContent);
    } else {
        result.expandedContent = run.output;
    }
    return result;
}

int printResult(const CommandInvocation& invocation, const ParsedArguments& arguments,
                const MacroEvaluationResult& result) {
    if (arguments.has("json")) {
        invocation.out() << macroEvaluationResultJson(result);
    } else {
        invocation.out() << result.expandedContent;
    }
    invocation.out().flush();
    const bool outputIsTerminal = &invocation.out() == &std::cout && isatty(STDOUT_FILENO) == 1;
    if (outputIsTerminal && !result.macroErrors.empty()) {
        invocation.err() << "\nwordloom: " << result.macroErrors.size()
                         << (result.macroErrors.size() == 1 ? " macro failed:\n"
                                                            : " macros failed:\n");
        for (const std::string& error : result.macroErrors) {
            invocation.err() << "  " << error << "\n";
        }
    }
    return 0;
}

int expandCommand(CommandInvocation& invocation) {
    const auto arguments = invocation.parse(evaluationOptionSpecs());
    expectPositionals(arguments, 1);
    auto session = openLibrary(invocation, arguments);
    const Snippet snippet =
        resolveSnippet(session->snippets(), arguments.positionals()[0], SnippetScope::active);
    if (snippet.contentType == ContentType::image) {
        throw CommandError("\u201c" + snippet.displayName() +
                           "\u201d is an image snippet: it has no text to expand.");
    }
    EvaluationSetup setup;
    prepareContext(arguments, *session, setup);
    setup.context.visitedAbbreviations.insert(snippet.abbreviation);
    if (snippet.contentType == ContentType::javaScript) {
        return printResult(invocation, arguments, runScriptSnippet(snippet, setup.context));
    }
    return printResult(invocation, arguments,
                       evaluateContent(invocation, arguments, snippet.content, setup.context));
}

int evalCommand(CommandInvocation& invocation) {
    auto specs = evaluationOptionSpecs();
    specs.push_back({"content", Kind::value});
    const auto arguments = invocation.parse(specs);
    expectPositionals(arguments, 0);
    auto content = arguments.value("content");
    if (!content) {
        throw UsageError("--content is required");
    }
    auto session = openLibrary(invocation, arguments);
    EvaluationSetup setup;
    prepareContext(arguments, *session, setup);
    return printResult(invocation, arguments,
                       evaluateContent(invocation, arguments, *content, setup.context));
}

int parseCommand(CommandInvocation& invocation) {
    const auto arguments = invocation.parse({{"content", Kind::value}});
    expectPositionals(arguments, 0);
    auto content = arguments.value("content");
    if (!content) {
        throw UsageError("--content is required");
    }
    invocation.out() << parsedMacrosJson(MacroParser::parse(*content));
    return 0;
}

}  // namespace

void registerMacroCommands(CommandRegistry& registry) {
    const std::string evaluationOptions =
        " [--arg VALUE]... [--field NAME=VALUE]... [--clipboard TEXT] [--selection TEXT] "
        "[--now ISO8601] [--json]";
    registry.add({"expand", "wordloom expand ABBREVIATION" + evaluationOptions,
                  "Print a snippet's expanded text, macros evaluated.", &expandCommand});
    registry.add({"eval", "wordloom eval --content TEXT" + evaluationOptions,
                  "Print the expansion of a text that is not in the library.", &evalCommand});
    registry.add({"parse", "wordloom parse --content TEXT",
                  "Show the macros found in a text, as JSON.", &parseCommand});
}

}  // namespace wordloom::cli
