// CPU cost of one expansion inside the process, apart from X and from the inserter's fixed
// waits: the last key of a 4-character abbreviation through the detector, the engine, macro
// evaluation and the inserter's sequence (pasteboard snapshot, writes and restore, the
// Backspace and paste keys) on fake platform services whose sleeps return at once. The
// library holds 10,000 snippets besides the measured one, as in scripts/measure-desktop.

#include <benchmark/benchmark.h>

#include <string>

#include "core/base/ManualExecutor.h"
#include "core/expansion/AbbreviationDetector.h"
#include "core/expansion/ExpansionEngine.h"
#include "detection_library.h"
#include "platform/fake/FakeAccessibilityService.h"
#include "platform/fake/FakeDesktopServices.h"
#include "platform/fake/FakeKeyInjector.h"
#include "platform/fake/FakePasteboard.h"
#include "platform/fake/FakeTextField.h"
#include "platform/fake/InlineMainQueueHop.h"

namespace wordloom::bench {
namespace {

const std::string hundredCharacters =
    std::string(
        "The quick brown fox jumps over the lazy dog. The quick brown fox jumps over the "
        "lazy dog. The quick")
        .substr(0, 100);

class NoSleep final : public Sleeper {
  public:
    void sleep(Duration) override {}
};

struct ExpansionRig {
    explicit ExpansionRig(const std::string& content) {
        library.snippets = makeLibrary(10000);
        Snippet snippet;
        snippet.id = Uuid::random();
        snippet.abbreviation = ";lat";
        snippet.label = "Latency";
        snippet.content = content;
        snippet.triggerMode = TriggerMode::immediate;
        library.snippets.push_back(snippet);
        cache.rebuild(library.snippets);
        executor.runUntilIdle();
        detector.prewarmRegexes(library.snippets);
        executor.runUntilIdle();
        pasteboard.copyFromUser(PasteboardSelection::clipboard,
                                {{"text/plain", "the user's clipboard"}});
        engine.start();
    }

    void type(const std::string& text) {
        field.type(text);
        keyboard.type(text);
        executor.runUntilIdle();
    }

    ManualExecutor executor;
    NoGroups groups;
    FixedSettings settings;
    FakeAccessibilityService accessibility;
    SnippetCache cache{executor};
    AbbreviationDetector detector{groups, settings, accessibility, cache, executor};
    FakeTextField field;
    FakePasteboard pasteboard;
    FakeKeyInjector keys{field, pasteboard};
    InlineMainQueueHop mainQueue;
    NoSleep sleeper;
    TextInserter inserter{pasteboard, keys, accessibility, mainQueue, sleeper};
    FakeExpansionLibrary library;
    MacroEvaluator evaluator;
    FakeKeyboardMonitor keyboard;
    FakeFrontmostApplication frontmost;
    FakeMouseClickMonitor clicks;
    FakeSoundPlayer sound;
    FakeNotificationPresenter notifications;
    FakeFillInFormPresenter form;
    ExpansionEngine engine{{executor, accessibility, keyboard, detector, inserter, library,
                            settings, evaluator, pasteboard, frontmost, clicks, sound,
                            notifications, form}};
};

// Only the key that completes the abbreviation is timed.
void expandRepeatedly(benchmark::State& state, const std::string& content,
                      const std::string& expected) {
    ExpansionRig rig(content);
    for (auto _ : state) {
        state.PauseTiming();
        rig.field = FakeTextField();
        rig.type(";la");
        state.ResumeTiming();
        rig.type("t");
    }
    if (rig.field.text() != expected) {
        state.SkipWithError(("expanded to \"" + rig.field.text() + "\"").c_str());
    }
}

void BM_ExpansionOfPlainText(benchmark::State& state) {
    expandRepeatedly(state, hundredCharacters, hundredCharacters);
}

void BM_ExpansionWithMacros(benchmark::State& state) {
    // Evaluation, the clipboard read, a keystroke action and caret placement all take part.
    const std::string content = "Dear {{clipboard}},{{key:tab}}" + hundredCharacters.substr(0, 60) +
                                " {{cursor}}{{date:yyyy}}";
    ExpansionRig probe(content);
    probe.type(";lat");
    expandRepeatedly(state, content, probe.field.text());
}

// For comparison: a key that expands nothing, through the same monitor, engine and detector.
void BM_KeystrokeExpandingNothing(benchmark::State& state) {
    ExpansionRig rig(hundredCharacters);
    std::size_t position = 0;
    for (auto _ : state) {
        rig.keyboard.type(std::string(1, prose[position]));
        rig.executor.runUntilIdle();
        position = (position + 1) % prose.size();
    }
}

BENCHMARK(BM_ExpansionOfPlainText)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ExpansionWithMacros)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_KeystrokeExpandingNothing)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace wordloom::bench

BENCHMARK_MAIN();
