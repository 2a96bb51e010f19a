#include "app/cli/DetectionCommands.h"

#include <charconv>
#include <chrono>
#include <ostream>
#include <stdexcept>
#include <variant>

#include "app/cli/CommandErrors.h"
#include "app/cli/LibraryCommandSupport.h"
#include "core/base/JsonWriter.h"
#include "core/base/ManualExecutor.h"
#include "core/base/Text.h"
#include "core/expansion/AbbreviationDetector.h"
#include "core/expansion/StoreDetectionSources.h"
#include "platform/fake/FakeAccessibilityService.h"

namespace wordloom::cli {
namespace {

using Kind = OptionSpec::Kind;

// One step of a typing script. Text is one character, typed as one key-down; Return, Tab and
// Space reach the detector as "\n", "\t" and " ", the way the engine feeds those special keys.
struct Keystroke {
    std::string text;
};
enum class Key { escape, backspace, left, click, secureOn, secureOff };
struct Wait {
    std::chrono::milliseconds duration;
};
struct SwitchApplication {
    std::string bundleId;
};
struct MoveFocus {
    std::string field;
};
using Step = std::variant<Keystroke, Key, Wait, SwitchApplication, MoveFocus>;

// Reads TEXT: characters, "{{" for a literal brace, and the {name} and {name:value} commands.
std::vector<Step> parseScript(std::string_view script) {
    std::vector<Step> steps;
    for (std::size_t i = 0; i < script.size();) {
        if (script.substr(i, 2) == "{{") {
            steps.emplace_back(Keystroke{"{"});
            i += 2;
            continue;
        }
        if (script[i] != '{') {
            const auto characters = text::characterBoundaries(script.substr(i));
            // The character that starts here, stopping at a "{" merged into nothing else.
            const auto length = characters.size() > 1 ? characters[1] : script.size() - i;
            steps.emplace_back(Keystroke{std::string(script.substr(i, length))});
            i += length;
            continue;
        }
        const auto close = script.find('}', i);
        if (close == std::string_view::npos) {
            throw UsageError("Unclosed \u201c{\u201d in the text at character " +
                             std::to_string(i + 1) + ". Type \u201c{{\u201d for a brace.");
        }
        const auto command = script.substr(i + 1, close - i - 1);
        const auto colon = command.find(':');
        const auto name = command.substr(0, colon);
        const auto value =
            colon == std::string_view::npos ? std::string_view() : command.substr(colon + 1);
        const auto needsValue = [&](bool wanted) {
            if (wanted == (colon == std::string_view::npos) || (wanted && value.empty())) {
                throw UsageError("\u201c{" + std::string(command) + "}\u201d " +
                                 (wanted ? "needs a value, as in {" + std::string(name) + ":...}"
                                         : "takes no value"));
            }
        };
        if (name == "wait") {
            needsValue(true);
            long long milliseconds = 0;
            const auto [end, error] =
                std::from_chars(value.data(), value.data() + value.size(), milliseconds);
            if (error != std::errc() || end != value.data() + value.size() || milliseconds < 0) {
                throw UsageError("{wait:MS} takes a whole number of milliseconds, not \u201c" +
                                 std::string(value) + "\u201d");
            }
            steps.emplace_back(Wait{std::chrono::milliseconds(milliseconds)});
        } else if (name == "app") {
            needsValue(true);
            steps.emplace_back(SwitchApplication{std::string(value)});
        } else if (name == "focus") {
            needsValue(true);
            steps.emplace_back(MoveFocus{std::string(value)});
        } else {
            needsValue(false);
            static const std::vector<std::pair<std::string_view, Step>> keys{
                {"esc", Key::escape},        {"backspace", Key::backspace},
                {"left", Key::left},         {"click", Key::click},
                {"secure", Key::secureOn},   {"/secure", Key::secureOff},
                {"return", Keystroke{"\n"}}, {"tab", Keystroke{"\t"}},
            };
            const auto found = std::find_if(keys.begin(), keys.end(),
                                            [&](const auto& key) { return key.first == name; });
            if (found == keys.end()) {
                throw UsageError("Unknown \u201c{" + std::string(command) +
                                 "}\u201d. Known: {wait:MS}, {esc}, {backspace}, {left}, "
                                 "{return}, {tab}, {click}, {app:ID}, {focus:N}, {secure}, "
                                 "{/secure}, and {{ for a brace.");
            }
            steps.push_back(found->second);
        }
        i = close + 1;
    }
    return steps;
}

// Settings from the user's file, with this run's --set overrides; never saved.
class OverriddenSettings final : public SettingsSource {
  public:
    OverriddenSettings(AppSettings base, const std::vector<std::string>& overrides)
        : settings_(std::move(base)) {
        for (const auto& assignment : overrides) {
            const auto equals = assignment.find('=');
            if (equals == std::string::npos) {
                throw UsageError("--set takes KEY=VALUE, not \u201c" + assignment + "\u201d");
            }
            const auto key = assignment.substr(0, equals);
            const auto field = enumFromRaw<SettingField>(key);
            if (!field) {
                throw CommandError("Unknown setting \u201c" + key + "\u201d.");
            }
            try {
                setSettingFromText(settings_, *field, assignment.substr(equals + 1));
            } catch (const std::invalid_argument& error) {
                throw CommandError(error.what());
            }
        }
    }
    const AppSettings& settings() const override { return settings_; }

  private:
    AppSettings settings_;
};

// Prints the detector's decisions, as text or one JSON object per line.
class EventPrinter {
  public:
    EventPrinter(std::ostream& out, bool json, const ManualExecutor& clock)
        : out_(out), json_(json), clock_(clock), start_(clock.now()) {}

    void expanded(const DetectedAbbreviation& match) {
        if (json_) {
            JsonWriter w(false);
            w.beginObject();
            w.key("abbreviation");
            w.value(match.typedAbbreviation);
            w.key("arguments");
            w.beginArray();
            for (const auto& argument : match.arguments) {
                w.value(argument);
            }
            w.endArray();
            w.key("event");
            w.value("expand");
            w.key("snippet");
            w.value(match.snippet->id.toString());
            w.key("trigger");
            w.value(triggerName(match.trigger));
            w.endObject();
            out_ << w.text() << "\n";
            return;
        }
        out_ << stamp() << "expand " << text::debugQuoted(match.typedAbbreviation) << " ("
             << triggerName(match.trigger) << ") -> " << match.snippet->displayName() << " ["
             << match.snippet->id.toString() << "]";
        for (const auto& argument : match.arguments) {
            out_ << " " << text::debugQuoted(argument);
        }
        if (match.typedText != match.typedAbbreviation) {
            out_ << ", erasing " << text::debugQuoted(match.typedText);
        }
        out_ << "\n";
    }

    void flushed(const Snippet& snippet, const std::string& abbreviation,
                 const std::string& trailing) {
        if (json_) {
            JsonWriter w(false);
            w.beginObject();
            w.key("abbreviation");
            w.value(abbreviation);
            w.key("event");
            w.value("flush");
            w.key("snippet");
            w.value(snippet.id.toString());
            w.key("trailing");
            w.value(trailing);
            w.endObject();
            out_ << w.text() << "\n";
            return;
        }
        out_ << stamp() << "flush " << text::debugQuoted(abbreviation) << " -> "
             << snippet.displayName() << " [" << snippet.id.toString() << "], keeping "
             << text::debugQuoted(trailing) << "\n";
    }

    void pendingChanged(bool on) {
        if (json_) {
            JsonWriter w(false);
            w.beginObject();
            w.key("event");
            w.value("pending");
            w.key("on");
            w.value(on);
            w.endObject();
            out_ << w.text() << "\n";
            return;
        }
        out_ << stamp()
             << (on ? "waiting: a longer abbreviation or inline arguments may follow" : "wait over")
             << "\n";
    }

  private:
    std::string stamp() const {
        const auto elapsed =
            std::chrono::duration_cast<std::chrono::milliseconds>(clock_.now() - start_);
        // Appended rather than concatenated: GCC 12 warns falsely (-Wrestrict) about
        // "literal" + std::string&&.
        std::string text = "+";
        text += std::to_string(elapsed.count());
        text += "ms ";
        return text;
    }

    std::ostream& out_;
    bool json_;
    const ManualExecutor& clock_;
    Timestamp start_;
};

int typeCommand(CommandInvocation& invocation) {
    const auto arguments = invocation.parse(
        {{"app", Kind::value}, {"json", Kind::flag}, {"set", Kind::repeatedValue}});
    expectPositionals(arguments, 1);
    const auto steps = parseScript(arguments.positionals()[0]);
    auto session = openLibrary(invocation, arguments);
    OverriddenSettings settings(session->settings().settings(), arguments.values("set"));

    // A manual clock: {wait:MS} is exact and costs no real time.
    ManualExecutor executor;
    SnippetCache cache(executor);
    const auto& library = session->snippets().snippets();
    cache.rebuild(library);
    SnippetStoreGroupLookup groups(session->snippets());
    FakeAccessibilityService accessibility;
    AbbreviationDetector detector(groups, settings, accessibility, cache, executor);
    detector.prewarmRegexes(library);
    executor.runUntilIdle();

    EventPrinter printer(invocation.out(), arguments.has("json"), executor);
    detector.onAbbreviationDetected = [&](const DetectedAbbreviation& match) {
        printer.expanded(match);
    };
    detector.onPendingExpansionFlushed =
        [&](const SnippetRef& snippet, const std::string& abbreviation,
            const std::string& trailing) { printer.flushed(*snippet, abbreviation, trailing); };
    detector.onPendingExpansionChanged = [&](bool on) { printer.pendingChanged(on); };
    if (const auto app = arguments.value("app")) {
        detector.setCurrentAppBundleId(*app);
    }

    std::string field = "1";
    bool secure = false;
    const auto focus = [&] {
        if (secure) {
            accessibility.focusSecureField("field-" + field);
        } else {
            accessibility.focusTextField("field-" + field);
        }
    };
    focus();
    for (const auto& step : steps) {
        if (const auto* keystroke = std::get_if<Keystroke>(&step)) {
            detector.processTypedText(keystroke->text);
        } else if (const auto* wait = std::get_if<Wait>(&step)) {
            executor.advance(wait->duration);
        } else if (const auto* app = std::get_if<SwitchApplication>(&step)) {
            detector.setCurrentAppBundleId(app->bundleId);
        } else if (const auto* move = std::get_if<MoveFocus>(&step)) {
            field = move->field;
            focus();
        } else {
            switch (std::get<Key>(step)) {
                case Key::escape:
                case Key::left:
                case Key::click:
                    detector.reset();
                    break;
                case Key::backspace:
                    detector.handleBackspace();
                    break;
                case Key::secureOn:
                case Key::secureOff:
                    secure = std::get<Key>(step) == Key::secureOn;
                    focus();
                    break;
            }
        }
        executor.runUntilIdle();
    }
    // Let every pending wait run out.
    while (executor.pendingTimerCount() > 0) {
        executor.advance(detector.prefixCollisionDelay());
    }
    return 0;
}

}  // namespace

void registerDetectionCommands(CommandRegistry& registry) {
    registry.add({"type", "wordloom type TEXT [--app APP_ID] [--json] [--set KEY=VALUE]...",
                  "Type TEXT into an abbreviation detector over the library and show what it "
                  "decides.",
                  typeCommand});
}

}  // namespace wordloom::cli
