// Counts the work of one keystroke in instructions, which unlike time repeats exactly from run
// to run. Run under callgrind, collecting only inside the detector's entry point:
//
//   valgrind --tool=callgrind --toggle-collect='*AbbreviationDetector*processTypedText*'
//       build/<dir>/bench/detection_instructions 10000 [nothing|expand]
//
// (one command line)
//
// and divide the "Collected" instruction count by the keystrokes this program reports. Mode
// "final" types prose, a space and an abbreviation, and times only the key that completes it:
//
//   valgrind --tool=callgrind --toggle-collect='*typeFinalKey*'
//       build/<dir>/bench/detection_instructions 10000 final

#include <cstdlib>
#include <iostream>

#include "core/base/ManualExecutor.h"
#include "core/expansion/AbbreviationDetector.h"
#include "detection_library.h"
#include "platform/fake/FakeAccessibilityService.h"

namespace {

// Kept out of line so that callgrind can collect exactly this call.
[[gnu::noinline]] void typeFinalKey(wordloom::AbbreviationDetector& detector, const char* key) {
    detector.processTypedText(std::string_view(key, 1));
}

}  // namespace

int main(int argc, char** argv) {
    using namespace wordloom;
    using namespace wordloom::bench;
    const std::size_t size = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 10'000;
    const std::string mode = argc > 2 ? argv[2] : "nothing";
    const std::size_t keystrokes = 10'000;

    const auto library = makeLibrary(size);
    ManualExecutor executor;
    SnippetCache cache(executor);
    cache.rebuild(library);
    executor.runUntilIdle();
    NoGroups groups;
    FixedSettings settings;
    FakeAccessibilityService accessibility;
    AbbreviationDetector detector(groups, settings, accessibility, cache, executor);
    detector.prewarmRegexes(library);
    executor.runUntilIdle();
    std::size_t expansions = 0;
    detector.onAbbreviationDetected = [&](const DetectedAbbreviation&) { ++expansions; };

    std::size_t typed = 0;
    if (mode == "nothing") {
        for (std::size_t i = 0; i < keystrokes; ++i) {
            detector.processTypedText(std::string_view(&prose[i % prose.size()], 1));
        }
        typed = keystrokes;
    } else if (mode == "final") {
        std::size_t done = 0;
        for (const auto& snippet : library) {
            if (done == 1000) {
                break;
            }
            if (snippet.triggerMode != TriggerMode::immediate ||
                snippet.matchType != AbbreviationMatchType::exact) {
                continue;
            }
            for (std::size_t i = 0; i < 60; ++i) {
                detector.processTypedText(std::string_view(&prose[i], 1));
            }
            detector.processTypedText(" ");
            const auto& abbreviation = snippet.abbreviation;
            for (std::size_t i = 0; i + 1 < abbreviation.size(); ++i) {
                detector.processTypedText(std::string_view(&abbreviation[i], 1));
            }
            typeFinalKey(detector, &abbreviation.back());
            ++done;
        }
        typed = done;
    } else {
        // Immediate abbreviations one after another: every keystroke is part of one, and one
        // in every few expands.
        for (const auto& snippet : library) {
            if (typed >= keystrokes) {
                break;
            }
            if (snippet.triggerMode != TriggerMode::immediate ||
                snippet.matchType != AbbreviationMatchType::exact) {
                continue;
            }
            for (const char c : snippet.abbreviation) {
                detector.processTypedText(std::string_view(&c, 1));
                ++typed;
            }
        }
    }
    std::cout << "library " << size << ", mode " << mode << ": " << typed << " keystrokes, "
              << expansions << " expansions\n";
    return 0;
}
