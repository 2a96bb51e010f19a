// Counts the work of parsing and evaluating the benchmark content in instructions, which unlike
// time repeats exactly from run to run. Run under callgrind, collecting only inside one call:
//
//   valgrind --tool=callgrind --toggle-collect='*parseOnce*' build/<dir>/bench/macros_instructions
//   valgrind --tool=callgrind --toggle-collect='*evaluateOnce*'
//   build/<dir>/bench/macros_instructions
//
// and divide the "Collected" instruction count by the repetitions this program reports. Both run
// after one warm-up evaluation, as they do in the benchmarks. A second argument "moving" moves the
// clock a quarter of a second before each repetition.
#include <cstdlib>
#include <iostream>

#include "core/macros/MacroEvaluator.h"
#include "macros_sample.h"

namespace {

// Kept out of line so that callgrind can collect exactly these calls.
[[gnu::noinline]] std::size_t parseOnce(const std::string& content) {
    return wordloom::MacroParser::parse(content).size();
}

[[gnu::noinline]] std::size_t evaluateOnce(const wordloom::MacroEvaluator& evaluator,
                                           const std::string& content,
                                           const wordloom::EvaluationContext& context) {
    return evaluator.evaluate(content, context).expandedContent.size();
}

}  // namespace

int main(int argc, char** argv) {
    using namespace wordloom;
    const int repetitions = argc > 1 ? std::atoi(argv[1]) : 100;
    const bool moving = argc > 2 && std::string(argv[2]) == "moving";
    bench::pinIcuDefaults();
    const std::string content = bench::sampleContent();
    bench::SettableClock clock;
    const EvaluationContext context = bench::sampleContext(clock);
    MacroEvaluator evaluator;
    evaluator.evaluate(content, context);

    std::size_t checksum = 0;
    for (int i = 0; i < repetitions; ++i) {
        if (moving) {
            clock.advance(std::chrono::milliseconds(250));
        }
        checksum += parseOnce(content);
        checksum += evaluateOnce(evaluator, content, context);
    }
    std::cout << repetitions << " repetitions (checksum " << checksum << ")\n";
    return 0;
}
