#include "core/expansion/AbbreviationDetector.h"

#include <unicode/ustring.h>

#include <algorithm>

#include "core/base/Text.h"
#include "core/expansion/ApplicationFilter.h"
#include "core/expansion/Delimiters.h"
#include "core/expansion/SnippetTrie.h"
#include "core/macros/InlineParameterParser.h"

namespace wordloom {
namespace {

bool isAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// Converts into `out`'s own buffer, so that its capacity is reused from keystroke to keystroke.
void assignUtf8(icu::UnicodeString& out, std::string_view text) {
    UErrorCode status = U_ZERO_ERROR;
    int32_t length = 0;
    const auto capacity = static_cast<int32_t>(text.size()) + 1;
    UChar* buffer = out.getBuffer(capacity);
    u_strFromUTF8WithSub(buffer, out.getCapacity(), &length, text.data(),
                         static_cast<int32_t>(text.size()), 0xFFFD, nullptr, &status);
    out.releaseBuffer(U_SUCCESS(status) ? length : 0);
}

bool isLineBreak(std::string_view character) {
    return character == "\n" || character == "\r" || character == "\r\n" || character == "\u2028" ||
           character == "\u2029";
}

}  // namespace

std::string_view triggerName(DetectionTrigger trigger) {
    switch (trigger) {
        case DetectionTrigger::immediate:
            return "immediate";
        case DetectionTrigger::delimiter:
            return "delimiter";
        case DetectionTrigger::inline_:
            return "inline";
    }
    return "immediate";
}

AbbreviationDetector::AbbreviationDetector(const SnippetGroupLookup& groups,
                                           const SettingsSource& settings,
                                           AccessibilityService& accessibility, SnippetCache& cache,
                                           Executor& executor)
    : groups_(groups),
      settings_(settings),
      accessibility_(accessibility),
      cache_(cache),
      executor_(executor),
      rules_(groups) {
    focusIdentityProvider = [this]() -> std::optional<FocusIdentity> {
        if (auto element = accessibility_.focusedElement()) {
            return std::move(element->identity);
        }
        return std::nullopt;
    };
}

AbbreviationDetector::~AbbreviationDetector() {
    if (pending_) {
        pending_->workItem.cancel();
    }
}

void AbbreviationDetector::processTypedText(std::string_view text) {
    if (text.empty()) {
        return;
    }
    if (pending_) {
        if (!continuesPending(*pending_, text)) {
            flush(std::string(text));
            return;
        }
        cancelPending();
    }
    const AppSettings& settings = settings_.settings();
    if (!settings.expandInPasswordFields) {
        // No answer counts as a password field: without accessibility access we cannot tell.
        const auto element = accessibility_.focusedElement();
        if (!element || isSecureTextField(*element)) {
            cancelPending();
            buffer_.clear();
            return;
        }
    }
    buffer_.append(text);
    matchSearch(text, isDelimiter(text), settings);
}

void AbbreviationDetector::matchSearch(std::string_view text, bool isDelimiter,
                                       const AppSettings& settings) {
    if (tryInlineInvocation(text, settings)) {
        return;
    }
    const auto run = buffer_.run();
    const auto immediate = searchTails(run, settings, [&](const Candidate& candidate) {
        return candidate.rules.triggerMode == TriggerMode::immediate;
    });
    if (immediate) {
        handleImmediateMatch(*immediate, settings);
        return;
    }
    if (isDelimiter && run.count() > 1) {
        // The delimiter has reached the document already; the abbreviation is what precedes
        // it, and the delimiter stays after the expansion.
        const auto beforeDelimiter = run.prefix(run.count() - 1);
        const auto delimited = searchTails(beforeDelimiter, settings, [](const Candidate& c) {
            return c.rules.triggerMode == TriggerMode::delimiter;
        });
        if (delimited) {
            const std::string typed(delimited->typed);
            expandNow(delimited->snippet, delimited->rules.inDisabledGroup,
                      {delimited->snippet, typed, typed, {}, DetectionTrigger::delimiter});
            return;
        }
    }
    if (tryRegexes(run, TriggerMode::immediate, DetectionTrigger::immediate, settings)) {
        return;
    }
    if (isDelimiter && run.count() > 1) {
        tryRegexes(run.prefix(run.count() - 1), TriggerMode::delimiter, DetectionTrigger::delimiter,
                   settings);
    }
}

template <typename Accept>
std::optional<AbbreviationDetector::Candidate> AbbreviationDetector::searchTails(
    const CharacterRun& run, const AppSettings& settings, Accept accept) {
    const auto count = run.count();
    const auto limit = std::min(count, cache_.maxAbbreviationLength());
    if (limit == 0) {
        return std::nullopt;
    }
    tailLengths_.clear();
    const auto tail = run.characters(count - limit, count);
    if (tail.size() == limit) {
        // One byte per character: the reversed trie names the only tail lengths that can hit.
        cache_.indexedTailLengths(tail, tailLengths_);
    } else {
        for (std::size_t length = 1; length <= limit; ++length) {
            tailLengths_.push_back(length);
        }
    }
    for (auto it = tailLengths_.rbegin(); it != tailLengths_.rend(); ++it) {
        const auto start = count - *it;
        // Word boundary: a tail starting with a letter or digit must not continue a word.
        if (start > 0 && isLetterOrNumber(run.character(start)) &&
            isLetterOrNumber(run.character(start - 1))) {
            continue;
        }
        const auto typed = run.characters(start, count);
        for (const auto& snippet : cache_.exactLookup(typed)) {
            if (!passesApplicationFilter(*snippet, currentAppBundleId_)) {
                continue;
            }
            Candidate candidate{snippet, start, typed, rules_.resolve(*snippet, settings)};
            if (accept(candidate)) {
                return candidate;
            }
        }
        for (const auto& snippet : cache_.lowercaseLookup(lowercasedForLookup(typed))) {
            auto rules = rules_.resolve(*snippet, settings);
            if (!rules.caseInsensitive || !passesApplicationFilter(*snippet, currentAppBundleId_)) {
                continue;
            }
            Candidate candidate{snippet, start, typed, rules};
            if (accept(candidate)) {
                return candidate;
            }
        }
    }
    return std::nullopt;
}

std::string_view AbbreviationDetector::lowercasedForLookup(std::string_view text) {
    if (isAscii(text)) {
        lowercaseScratch_.assign(text);
        for (auto& c : lowercaseScratch_) {
            if (c >= 'A' && c <= 'Z') {
                c = static_cast<char>(c + ('a' - 'A'));
            }
        }
    } else {
        lowercaseScratch_ = text::lowercased(text);
    }
    return lowercaseScratch_;
}

bool AbbreviationDetector::tryInlineInvocation(std::string_view text, const AppSettings& settings) {
    // An invocation completes with its closing ">", or with Return or Tab after an open one
    // (arguments may hold spaces, so a space does not end them).
    const auto run = buffer_.run();
    const auto count = run.count();
    const bool closed = run.character(count - 1) == ">";
    const bool endedByKey = text == "\n" || text == "\r" || text == "\t";
    if ((!closed && !endedByKey) || count < 3) {
        return false;
    }
    const auto region = closed ? run : run.prefix(count - 1);
    // Arguments never span lines: only the current line can hold the invocation.
    std::size_t lineStart = 0;
    for (std::size_t i = region.count(); i > 0; --i) {
        if (isLineBreak(region.character(i - 1))) {
            lineStart = i;
            break;
        }
    }
    // The abbreviation ends at the invocation's first "<"; try the leftmost first, so that
    // later "<" are read as argument separators.
    for (std::size_t open = lineStart + 1; open + 1 < region.count(); ++open) {
        if (region.character(open) != "<") {
            continue;
        }
        std::optional<ParsedInlineInvocation> invocation;
        const auto found = searchTails(region.prefix(open), settings, [&](const Candidate& c) {
            if (c.start < lineStart || c.rules.triggerMode == TriggerMode::manual ||
                !hasInlineFields(*c.snippet)) {
                return false;
            }
            invocation =
                InlineParameterParser::parse(region.characters(c.start, region.count()),
                                             c.snippet->abbreviation, !c.rules.caseInsensitive);
            return invocation && (invocation->hasExplicitClosingBracket || !closed);
        });
        if (found) {
            expandNow(found->snippet, found->rules.inDisabledGroup,
                      {found->snippet, invocation->typedAbbreviation,
                       std::string(region.characters(found->start, region.count())),
                       std::move(invocation->arguments), DetectionTrigger::inline_});
            return true;
        }
    }
    return false;
}

bool AbbreviationDetector::tryRegexes(const CharacterRun& run, TriggerMode wanted,
                                      DetectionTrigger trigger, const AppSettings& settings) {
    if (run.count() < minRegexMatchLength) {
        return false;
    }
    const auto bucket = cache_.regexSnippetsForApplication(currentAppBundleId_);
    if (bucket->empty()) {
        return false;
    }
    const auto text = run.text();
    bucket->candidatesFor(text, regexCandidates_);
    if (regexCandidates_.empty()) {
        return false;
    }
    assignUtf8(regexInput_, text);
    for (const auto index : regexCandidates_) {
        const auto& snippet = bucket->snippets()[index];
        const auto rules = rules_.resolve(*snippet, settings);
        if (rules.triggerMode != wanted) {
            continue;
        }
        auto match =
            regexCache_.matchAtEnd({snippet->abbreviation, rules.caseInsensitive}, regexInput_);
        if (!match || text::characterCount(match->matched) < minRegexMatchLength) {
            continue;
        }
        expandNow(snippet, rules.inDisabledGroup,
                  {snippet, match->matched, match->matched, std::move(match->captures), trigger});
        return true;
    }
    return false;
}

void AbbreviationDetector::handleImmediateMatch(const Candidate& candidate,
                                                const AppSettings& settings) {
    std::string typed(candidate.typed);
    if (settings.delayAmbiguousExpansions && prefixCollisionDelay_ > Duration::zero() &&
        (longerAbbreviationMayFollow(typed, *candidate.snippet, settings) ||
         hasInlineFields(*candidate.snippet))) {
        startWait(candidate.snippet, std::move(typed));
        return;
    }
    expandNow(candidate.snippet, candidate.rules.inDisabledGroup,
              {candidate.snippet, typed, typed, {}, DetectionTrigger::immediate});
}

void AbbreviationDetector::expandNow(const SnippetRef& snippet, bool inDisabledGroup,
                                     DetectedAbbreviation match) {
    // Hold a reference: the buffer and the bucket the snippet came from may go away below.
    const SnippetRef keep = snippet;
    cancelPending();
    buffer_.clear();
    if (inDisabledGroup) {
        return;  // a disabled group silences its snippets; the typing is consumed all the same
    }
    if (onAbbreviationDetected) {
        onAbbreviationDetected(match);
    }
}

void AbbreviationDetector::startWait(const SnippetRef& snippet, std::string abbreviation) {
    cancelPending();
    std::weak_ptr<bool> alive = alive_;
    auto workItem = executor_.postAfter(prefixCollisionDelay_, [this, alive] {
        if (alive.lock()) {
            flush(std::string());
        }
    });
    pending_ = PendingExpansion{snippet, std::move(abbreviation), currentFocusIdentity(),
                                std::move(workItem)};
    if (onPendingExpansionChanged) {
        onPendingExpansionChanged(true);
    }
}

bool AbbreviationDetector::continuesPending(const PendingExpansion& pending,
                                            std::string_view text) {
    if (text == "<" && hasInlineFields(*pending.snippet)) {
        return true;  // inline arguments are starting
    }
    std::string extended = pending.abbreviation;
    extended.append(text);
    return longerAbbreviationMayFollow(extended, *pending.snippet, settings_.settings());
}

bool AbbreviationDetector::longerAbbreviationMayFollow(std::string_view text,
                                                       const Snippet& matched,
                                                       const AppSettings& settings) {
    for (const auto& candidate : cache_.prefixLookup(text)) {
        if (candidate->id == matched.id || !rules_.isEffectivelyEnabled(*candidate)) {
            continue;
        }
        const auto rules = rules_.resolve(*candidate, settings);
        if (rules.triggerMode == TriggerMode::manual) {
            continue;
        }
        // The prefix lookup compares lower-cased; a case-sensitive candidate must also
        // continue the text as typed.
        if (!rules.caseInsensitive &&
            !(candidate->abbreviation.starts_with(text) &&
              isCharacterBoundary(candidate->abbreviation, text.size()))) {
            continue;
        }
        return true;
    }
    return false;
}

void AbbreviationDetector::flush(const std::string& trailingText) {
    auto pending = takePendingQuietly();
    if (!pending) {
        return;
    }
    const bool focusMoved = currentFocusIdentity() != pending->focusIdentity;
    const bool inDisabledGroup =
        !focusMoved && rules_.resolve(*pending->snippet, settings_.settings()).inDisabledGroup;
    buffer_.clear();
    if (onPendingExpansionChanged) {
        onPendingExpansionChanged(false);
    }
    if (focusMoved || inDisabledGroup) {
        return;  // the caret is elsewhere now, or the group was disabled meanwhile
    }
    if (trailingText.empty()) {
        if (onAbbreviationDetected) {
            onAbbreviationDetected({pending->snippet,
                                    pending->abbreviation,
                                    pending->abbreviation,
                                    {},
                                    DetectionTrigger::immediate});
        }
    } else if (onPendingExpansionFlushed) {
        onPendingExpansionFlushed(pending->snippet, pending->abbreviation, trailingText);
    }
}

std::optional<PendingExpansion> AbbreviationDetector::takePendingQuietly() {
    auto pending = std::move(pending_);
    pending_.reset();
    if (pending) {
        pending->workItem.cancel();
    }
    return pending;
}

std::optional<PendingExpansion> AbbreviationDetector::takePending() {
    auto pending = takePendingQuietly();
    if (pending && onPendingExpansionChanged) {
        onPendingExpansionChanged(false);
    }
    return pending;
}

void AbbreviationDetector::cancelPending() {
    takePending();
}

void AbbreviationDetector::handleBackspace() {
    cancelPending();
    buffer_.removeLastCharacter();
}

void AbbreviationDetector::reset() {
    cancelPending();
    buffer_.clear();
}

void AbbreviationDetector::setCurrentAppBundleId(std::optional<std::string> bundleId) {
    currentAppBundleId_ = std::move(bundleId);
    reset();
}

bool AbbreviationDetector::hasInlineFields(const Snippet& snippet) const {
    // Fields are written as macros; content without "{{" has none, and costs no parse.
    return snippet.content.find("{{") != std::string::npos &&
           !InlineParameterParser::fillableFields(snippet.content).empty();
}

std::optional<FocusIdentity> AbbreviationDetector::currentFocusIdentity() {
    return focusIdentityProvider ? focusIdentityProvider() : std::nullopt;
}

void AbbreviationDetector::prewarmRegexes(const std::vector<Snippet>& snippets) {
    const auto& settings = settings_.settings();
    auto keys = std::make_shared<std::vector<RegexCacheKey>>();
    for (const auto& snippet : snippets) {
        if (snippet.isEnabled && !snippet.isDeleted() &&
            snippet.matchType == AbbreviationMatchType::regex) {
            keys->push_back(
                {snippet.abbreviation, rules_.resolve(snippet, settings).caseInsensitive});
        }
    }
    const auto generation = ++prewarmGeneration_;
    std::weak_ptr<bool> alive = alive_;
    Executor& executor = executor_;
    executor_.runInBackground([this, alive, keys, generation, &executor] {
        using Compiled = std::vector<std::pair<RegexCacheKey, CompiledRegexPair>>;
        auto compiled = std::make_shared<Compiled>();
        for (auto& key : *keys) {
            if (auto pair = CompiledRegexPair::compile({key.pattern, key.caseInsensitive})) {
                compiled->emplace_back(std::move(key), std::move(*pair));
            }
        }
        executor.post([this, alive, compiled, generation] {
            if (!alive.lock() || generation != prewarmGeneration_) {
                return;  // the detector is gone, or a newer prewarm supersedes this one
            }
            for (auto& [key, pair] : *compiled) {
                regexCache_.insertPrecompiled(std::move(key), std::move(pair));
            }
        });
    });
}

}  // namespace wordloom
