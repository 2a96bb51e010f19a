#include "core/macros/MacroEvaluator.h"

#include <algorithm>
#include <random>

#include "core/base/Log.h"
#include "core/base/Text.h"
#include "core/macros/ConditionEvaluator.h"
#include "core/macros/FillInFieldCollector.h"
#include "core/macros/MacroBlockTree.h"

namespace wordloom {
namespace {

// What evaluation writes as it goes; positions are in bytes until the end.
struct Output {
    std::string text;
    std::vector<std::size_t> cursorBytes;
    std::vector<std::pair<std::size_t, SimulatedKey>> keyBytes;
    std::vector<FillInField> fields;
    std::vector<std::string> errors;
    std::vector<PendingAIRequest> pendingAIRequests;
};

// One content being evaluated: the top-level snippet, a nested snippet or a condition's text.
struct Level {
    std::string_view content;
    std::vector<ParsedMacro> macros;
    const EvaluationContext& context;
    std::string parentTag;
    int conditionDepth = 0;
    bool hasFillInMacros = false;
    /// Where this content's AI prompt variables come from: its own fields, or for a condition
    /// those of the content holding it.
    const Level* variablesSource = this;
    /// This content's fields, as a range of the output's fields.
    const std::vector<FillInField>* fieldStore = nullptr;
    std::size_t firstField = 0;
    std::size_t endField = 0;
    /// Built on first use: most contents have no AI macro.
    mutable std::optional<std::map<std::string, std::string>> aiVariables;

    std::string tag(std::size_t index) const {
        return FillInFieldCollector::childTag(parentTag, index);
    }
};

std::int64_t uniformRandom(std::int64_t lower, std::int64_t upper) {
    thread_local std::mt19937_64 generator{std::random_device{}()};
    return std::uniform_int_distribution<std::int64_t>(lower, upper)(generator);
}

std::string joinPath(const std::string& path, const std::string& component) {
    return path.empty() ? component : path + "/" + component;
}

std::string aiRequestKey(const macro::AI& ai, const std::map<std::string, std::string>& variables) {
    // Unit and record separators cannot be typed into a prompt by accident.
    std::string key =
        ai.prompt + '\x1f' + ai.provider.value_or("") + '\x1f' + ai.model.value_or("");
    for (const auto& [name, value] : variables) {
        key += '\x1e' + name + '=' + value;
    }
    return key;
}

// Byte offsets of `text` as character offsets. Most text is ASCII, where the two agree; ICU's
// character boundaries are only computed from the first byte where they might not.
std::vector<std::size_t> toCharacterOffsets(std::string_view text,
                                            const std::vector<std::size_t>& byteOffsets) {
    if (byteOffsets.empty()) {
        return {};
    }
    std::size_t simplePrefix = 0;
    while (simplePrefix < text.size() && static_cast<unsigned char>(text[simplePrefix]) < 0x80 &&
           text[simplePrefix] != '\r') {
        ++simplePrefix;
    }
    // Every offset up to the last simple byte is a boundary; the byte after the prefix may join
    // that last one (a combining mark), so counting restarts one byte early.
    const std::size_t restart = simplePrefix == 0 ? 0 : simplePrefix - 1;
    std::vector<std::size_t> boundaries;
    std::size_t largest = *std::max_element(byteOffsets.begin(), byteOffsets.end());
    if (largest > restart) {
        boundaries = text::characterBoundaries(text.substr(restart));
    }
    std::vector<std::size_t> offsets;
    offsets.reserve(byteOffsets.size());
    for (std::size_t byte : byteOffsets) {
        if (byte <= restart) {
            offsets.push_back(byte);
            continue;
        }
        // A position inside a character (text joined onto a combining mark) counts as after it.
        auto at = std::lower_bound(boundaries.begin(), boundaries.end(), byte - restart);
        offsets.push_back(restart + static_cast<std::size_t>(at - boundaries.begin()));
    }
    return offsets;
}

class EvaluationRun {
  public:
    EvaluationRun(const MacroParser& parser, const DateMacroRenderer& dates, Timestamp now,
                  MacroEvaluationPlan& plan)
        : parser_(parser), dates_(dates), now_(now), plan_(plan) {}

    std::vector<ParsedMacro> evaluate(std::string_view content, const EvaluationContext& context,
                                      Output& out) {
        Level level{content, parser_.parse(content), context};
        collectFields(level, out);
        render(MacroBlock::arrange(content, level.macros), level, out);
        return std::move(level.macros);
    }

  private:
    void collectFields(Level& level, Output& out) {
        const EvaluationContext& context = level.context;
        auto fields =
            FillInFieldCollector::collect(level.macros, context.fillInPath, level.parentTag);
        level.hasFillInMacros = !fields.empty();
        level.fieldStore = &out.fields;
        level.firstField = out.fields.size();
        for (FillInField& field : fields) {
            auto entered = context.fillInValues.find(field.valueKey);
            if (entered != context.fillInValues.end()) {
                field.value = entered->second;
            }
            out.fields.push_back(std::move(field));
        }
        level.endField = out.fields.size();
    }

    // AI prompts may name the captured texts and the content's named fields.
    static const std::map<std::string, std::string>& aiVariables(const Level& level) {
        const Level& source = *level.variablesSource;
        if (!source.aiVariables) {
            const EvaluationContext& context = source.context;
            std::map<std::string, std::string> variables{
                {"clipboard", context.capturedClipboard.value_or("")},
                {"selected", context.capturedSelectedText.value_or("")},
                {"selection", context.capturedSelectedText.value_or("")}};
            for (std::size_t i = source.firstField; i < source.endField; ++i) {
                const FillInField& field = (*source.fieldStore)[i];
                if (field.valueKey.rfind(FillInFieldCollector::unnamedKeyPrefix, 0) != 0) {
                    variables.emplace(field.name, field.value);
                }
            }
            source.aiVariables = std::move(variables);
        }
        return *source.aiVariables;
    }

    void fail(Output& out, std::string error) {
        out.text += error;
        plan_.addError(error);
        out.errors.push_back(std::move(error));
    }

    // A mistake in the snippet that has no error text of its own: the macro writes nothing,
    // and the author finds out from the log (the command line's standard error).
    static void ignore(std::string_view why) {
        static const Logger logger("MacroEvaluator");
        logger.error(why);
    }

    void render(const std::vector<MacroBlock>& blocks, const Level& level, Output& out) {
        for (const MacroBlock& block : blocks) {
            switch (block.kind) {
                case MacroBlock::Kind::text:
                    out.text.append(level.content.substr(block.bytes.start, block.bytes.length()));
                    break;
                case MacroBlock::Kind::macro:
                    evaluateMacro(level, block.macroIndex, out);
                    break;
                case MacroBlock::Kind::conditional:
                    for (const MacroBlock::Branch& branch : block.branches) {
                        if (!branch.conditionMacro ||
                            conditionHolds(level, *branch.conditionMacro, out)) {
                            render(branch.body, level, out);
                            break;
                        }
                    }
                    break;
                case MacroBlock::Kind::section:
                    if (sectionIsOn(level, block.macroIndex)) {
                        render(block.body, level, out);
                    }
                    break;
                case MacroBlock::Kind::stray:
                    ignore("Ignoring " + level.macros[block.macroIndex].originalText.str() +
                           ": no section of its kind is open.");
                    break;
                case MacroBlock::Kind::tooDeep:
                    ignore("Ignoring " + level.macros[block.macroIndex].originalText.str() +
                           ": sections are nested too deeply.");
                    break;
            }
        }
    }

    bool conditionHolds(const Level& level, std::size_t index, Output& out) {
        const MacroType& type = level.macros[index].type;
        const auto* opening = std::get_if<macro::ConditionalIf>(&type);
        const std::string& condition =
            opening ? opening->condition : std::get<macro::ConditionalElseIf>(type).condition;
        std::string resolved = condition;
        if (level.conditionDepth < MacroEvaluator::maximumConditionDepth) {
            // The condition's own macros are evaluated first; their caret and keys mean nothing
            // there and are dropped, their errors and AI requests are kept.
            Output scratch;
            Level inner{condition,        parser_.parse(condition), level.context,
                        level.tag(index), level.conditionDepth + 1, level.hasFillInMacros};
            inner.variablesSource = level.variablesSource;
            render(MacroBlock::arrange(condition, inner.macros), inner, scratch);
            out.errors.insert(out.errors.end(), scratch.errors.begin(), scratch.errors.end());
            out.pendingAIRequests.insert(out.pendingAIRequests.end(),
                                         scratch.pendingAIRequests.begin(),
                                         scratch.pendingAIRequests.end());
            resolved = std::move(scratch.text);
        }
        auto outcome = ConditionEvaluator::evaluate(resolved);
        if (outcome.error) {
            ignore(*outcome.error + " The condition counts as false.");
        }
        return outcome.value;
    }

    bool sectionIsOn(const Level& level, std::size_t index) {
        auto field = FillInFieldCollector::entryFor(level.macros[index].type,
                                                    level.context.fillInPath, level.tag(index));
        auto entered = level.context.fillInValues.find(field->valueKey);
        if (entered != level.context.fillInValues.end()) {
            return ConditionEvaluator::isTrue(entered->second);
        }
        return std::get<macro::Optional>(level.macros[index].type).defaultOn;
    }

    void evaluateMacro(const Level& level, std::size_t index, Output& out) {
        const ParsedMacro& parsed = level.macros[index];
        const MacroType& type = parsed.type;
        const EvaluationContext& context = level.context;
        auto dated = dates_.renderInto(type, now_, out.text);
        if (dated.isDateMacro) {
            if (dated.error) {
                fail(out, std::move(*dated.error));
            } else if (dated.unusableFormat) {
                ignore("Ignoring " + parsed.originalText.str() + ": its date format is not one " +
                       "that can be written.");
            }
            return;
        }
        if (auto field =
                FillInFieldCollector::entryFor(type, context.fillInPath, level.tag(index))) {
            auto entered = context.fillInValues.find(field->valueKey);
            if (entered != context.fillInValues.end()) {
                out.text += entered->second;
            } else {
                out.text += field->defaultValue;
            }
            return;
        }
        std::visit(
            [&](const auto& value) {
                using T = std::decay_t<decltype(value)>;
                if constexpr (std::is_same_v<T, macro::Clipboard>) {
                    out.text += context.capturedClipboard.value_or("");
                } else if constexpr (std::is_same_v<T, macro::SelectedText>) {
                    out.text += context.capturedSelectedText.value_or("");
                } else if constexpr (std::is_same_v<T, macro::Cursor>) {
                    out.cursorBytes.push_back(out.text.size());
                } else if constexpr (std::is_same_v<T, macro::Uuid>) {
                    out.text += wordloom::Uuid::random().toString();
                } else if constexpr (std::is_same_v<T, macro::Random>) {
                    if (value.lower > value.upper) {
                        fail(out, "[invalid random range]");
                    } else {
                        out.text += std::to_string(uniformRandom(value.lower, value.upper));
                    }
                } else if constexpr (std::is_same_v<T, macro::Key>) {
                    if (auto key = enumFromRaw<SimulatedKey>(value.keyName)) {
                        out.keyBytes.emplace_back(out.text.size(), *key);
                    } else {
                        ignore("Ignoring {{key:" + value.keyName + "}}: there is no key of " +
                               "that name.");
                    }
                } else if constexpr (std::is_same_v<T, macro::Snippet>) {
                    includeSnippet(level, index, value.abbreviation, out);
                } else if constexpr (std::is_same_v<T, macro::JavaScript>) {
                    runScript(level, index, value.code, parsed.originalText, out);
                } else if constexpr (std::is_same_v<T, macro::AI>) {
                    generate(level, value, parsed.originalText, out);
                }
                // Section and branch markers are consumed by the block structure.
            },
            type);
    }

    void includeSnippet(const Level& level, std::size_t index, const std::string& abbreviation,
                        Output& out) {
        const EvaluationContext& context = level.context;
        std::optional<Snippet> snippet;
        if (context.findSnippet) {
            snippet = context.findSnippet(abbreviation);
        }
        if (!snippet) {
            fail(out, "[Unknown snippet: " + abbreviation + "]");
            return;
        }
        if (context.visitedAbbreviations.count(abbreviation) > 0) {
            fail(out, "[Circular snippet reference: " + abbreviation + "]");
            return;
        }
        if (context.nestingDepth > MacroEvaluator::maximumNestingDepth) {
            fail(out, "[Max nesting depth reached]");
            return;
        }
        if (++inclusions_ > MacroEvaluator::maximumSnippetInclusions) {
            // Snippets that include each other many times over grow as fast as deep nesting.
            fail(out, "[Max nesting depth reached]");
            return;
        }
        EvaluationContext nested = context;
        nested.nestingDepth = context.nestingDepth + 1;
        nested.visitedAbbreviations.insert(abbreviation);
        nested.fillInPath = joinPath(context.fillInPath, abbreviation + "#" + level.tag(index));
        nested.hasAncestorFillInMacros = context.hasAncestorFillInMacros || level.hasFillInMacros;

        if (snippet->contentType == ContentType::image) {
            ignore("Ignoring {{snippet:" + abbreviation + "}}: a picture cannot go inside text.");
            return;
        }
        if (snippet->contentType == ContentType::javaScript) {
            runScript(level, index, snippet->content, level.macros[index].originalText, out);
            return;
        }
        Level inner{snippet->content, parser_.parse(snippet->content), nested};
        collectFields(inner, out);
        render(MacroBlock::arrange(inner.content, inner.macros), inner, out);
    }

    void runScript(const Level& level, std::size_t index, const std::string& code,
                   std::string_view originalText, Output& out) {
        const EvaluationContext& context = level.context;
        if (context.isPreviewOnly) {
            out.text += originalText;
            return;
        }
        std::string key = "js:" + context.fillInPath + "#" + level.tag(index);
        if (auto kept = plan_.replacement(key)) {
            out.text += *kept;
            return;
        }
        if (!context.javaScriptRunner) {
            fail(out, "[JS Error: " +
                          JavaScriptError::executionFailed("JavaScript runner is not available")
                              .description() +
                          "]");
            return;
        }
        std::map<std::string, std::string> scriptContext = context.fillInValues;
        scriptContext["clipboard"] = context.capturedClipboard.value_or("");
        scriptContext["selectedText"] = context.capturedSelectedText.value_or("");
        JavaScriptResult result = context.javaScriptRunner->execute(
            code, scriptContext, context.capturedClipboard.value_or(""));
        if (result.error) {
            fail(out, "[JS Error: " + result.error->description() + "]");
            return;
        }
        plan_.setReplacement(key, result.output);
        out.text += result.output;
    }

    void generate(const Level& level, const macro::AI& ai, std::string_view originalText,
                  Output& out) {
        const EvaluationContext& context = level.context;
        if (context.isPreviewOnly) {
            out.pendingAIRequests.push_back({ai.prompt, ai.provider, ai.model, aiVariables(level)});
            out.text += originalText;
            return;
        }
        const auto& variables = aiVariables(level);
        std::string key = aiRequestKey(ai, variables);
        if (auto kept = plan_.aiResult(key)) {
            out.text += *kept;
            return;
        }
        if (!context.aiService) {
            fail(out, "AI macro failed: AI service is not available");
            return;
        }
        try {
            std::string generated =
                context.aiService->generate(ai.prompt, ai.provider, ai.model, variables);
            plan_.setAIResult(key, generated);
            out.text += generated;
        } catch (const std::exception& error) {
            fail(out, std::string("AI macro failed: ") + error.what());
        }
    }

    const MacroParser& parser_;
    const DateMacroRenderer& dates_;
    Timestamp now_;
    MacroEvaluationPlan& plan_;
    int inclusions_ = 0;
};

}  // namespace

MacroEvaluationResult MacroEvaluator::evaluate(std::string_view content,
                                               const EvaluationContext& context) const {
    std::shared_ptr<MacroEvaluationPlan> plan = context.evaluationPlan;
    if (!plan) {
        plan = std::make_shared<MacroEvaluationPlan>();
    }
    Timestamp now = context.clock ? context.clock->now() : std::chrono::system_clock::now();
    Output out;
    // Most macros write less than they take up; inserted texts may add some more.
    out.text.reserve(content.size() + content.size() / 2);
    EvaluationRun run(parser_, dates_, now, *plan);

    MacroEvaluationResult result;
    result.parsedMacros = run.evaluate(content, context, out);

    std::vector<std::size_t> bytes = out.cursorBytes;
    for (const auto& [position, key] : out.keyBytes) {
        bytes.push_back(position);
    }
    std::vector<std::size_t> characters = toCharacterOffsets(out.text, bytes);
    result.cursorCandidates.assign(
        characters.begin(),
        characters.begin() + static_cast<std::ptrdiff_t>(out.cursorBytes.size()));
    for (std::size_t i = 0; i < out.keyBytes.size(); ++i) {
        result.keystrokes.push_back(
            {characters[out.cursorBytes.size() + i], out.keyBytes[i].second});
    }
    if (!result.cursorCandidates.empty()) {
        result.cursorPosition = result.cursorCandidates.front();
    }
    result.expandedContent = std::move(out.text);
    result.fillInFields = std::move(out.fields);
    result.macroErrors = std::move(out.errors);
    result.pendingAIRequests = std::move(out.pendingAIRequests);
    return result;
}

}  // namespace wordloom
