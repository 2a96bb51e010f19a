#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/Executor.h"
#include "core/expansion/AccessibilityService.h"
#include "core/expansion/DetectionSources.h"
#include "core/expansion/RegexCache.h"
#include "core/expansion/SnippetCache.h"
#include "core/expansion/SnippetRules.h"
#include "core/expansion/TypedBuffer.h"

namespace wordloom {

/// How a detected abbreviation was triggered.
enum class DetectionTrigger {
    immediate,  ///< the abbreviation (or regex) was typed; also a held match whose wait ran out
    delimiter,  ///< a delimiter followed a delimiter-mode abbreviation
    inline_,    ///< an abbreviation with inline arguments, "abbr<value>"
};

/// "immediate", "delimiter", "inline".
std::string_view triggerName(DetectionTrigger trigger);

/// A snippet the user triggered by typing.
struct DetectedAbbreviation {
    SnippetRef snippet;
    /// The abbreviation as typed (a regex snippet: the text the pattern matched).
    std::string typedAbbreviation;
    /// Everything typed for this expansion that the engine erases: the abbreviation, with its
    /// inline arguments when there are some. A delimiter that fired the match is not part of
    /// it: it stays in the document after the expansion.
    std::string typedText;
    /// Inline arguments, or a regex snippet's capture groups, in order; empty otherwise.
    std::vector<std::string> arguments;
    DetectionTrigger trigger = DetectionTrigger::immediate;
};

/// A match held back because a longer abbreviation (or inline arguments) may still follow.
struct PendingExpansion {
    SnippetRef snippet;
    /// The typed text that matched.
    std::string abbreviation;
    /// What had focus when the wait began.
    std::optional<FocusIdentity> focusIdentity;
    /// Fires the expansion when the wait runs out.
    ScheduledTask workItem;
};

/// Turns the stream of typed text into "this snippet was triggered" events. Keeps the last 100
/// characters typed, searches their end for an abbreviation after every keystroke (longest
/// first, exact case before folded case, respecting word boundaries, trigger modes, case rules
/// and application filters), and reports a match at once or, when a longer abbreviation could
/// still follow and the user asked for it, after a short wait. It never edits text: the
/// expansion engine acts on its callbacks.
///
/// Lives on the main queue; only regex pre-compilation runs in the background.
class AbbreviationDetector {
  public:
    static constexpr std::size_t maxBufferLength = 100;
    static constexpr std::size_t minRegexMatchLength = 3;
    static constexpr std::size_t regexCacheCapacity = 256;
    static constexpr Duration defaultPrefixCollisionDelay = std::chrono::milliseconds(250);

    AbbreviationDetector(const SnippetGroupLookup& groups, const SettingsSource& settings,
                         AccessibilityService& accessibility, SnippetCache& cache,
                         Executor& executor);
    ~AbbreviationDetector();
    AbbreviationDetector(const AbbreviationDetector&) = delete;
    AbbreviationDetector& operator=(const AbbreviationDetector&) = delete;

    /// A match to expand now.
    std::function<void(const DetectedAbbreviation&)> onAbbreviationDetected;
    /// A held match released by a keystroke that does not continue it: expand `abbreviation`
    /// and keep `trailingText` (already in the document) after the expansion.
    std::function<void(const SnippetRef& snippet, const std::string& abbreviation,
                       const std::string& trailingText)>
        onPendingExpansionFlushed;
    /// true when a match starts waiting, false when the wait ends for any reason.
    std::function<void(bool)> onPendingExpansionChanged;
    /// Identifies the focused text element; by default the accessibility service's focused
    /// element, or nullopt.
    std::function<std::optional<FocusIdentity>()> focusIdentityProvider;

    /// One key-down that produced `text` (usually one character). Space, Return and Tab arrive
    /// here as " ", "\n" and "\t".
    void processTypedText(std::string_view text);

    /// Backspace: forgets the last typed character, so a corrected typo still expands, and
    /// drops a held match, since the document no longer ends with it. Does not search:
    /// erasing back into an abbreviation does not expand it.
    void handleBackspace();

    /// Forgets everything typed and drops a held match: Escape, arrows, clicks, shortcuts,
    /// anything that moves the caret.
    void reset();

    /// The frontmost application changed (nullopt: unknown). Also resets.
    void setCurrentAppBundleId(std::optional<std::string> bundleId);
    const std::optional<std::string>& currentAppBundleId() const { return currentAppBundleId_; }

    /// Drops a held match; reports false when there was one.
    void cancelPending();
    /// Removes the held match and hands it over (its timer cancelled); reports false when
    /// there was one.
    std::optional<PendingExpansion> takePending();
    bool hasPendingExpansion() const { return pending_.has_value(); }
    const std::optional<PendingExpansion>& pendingExpansion() const { return pending_; }

    /// Compiles the regex snippets among `snippets` in the background, so typing never waits
    /// for compilation. A later call makes the results of earlier ones be dropped.
    void prewarmRegexes(const std::vector<Snippet>& snippets);

    /// How long an ambiguous match waits; 0 turns waiting off.
    void setPrefixCollisionDelay(Duration delay) { prefixCollisionDelay_ = delay; }
    Duration prefixCollisionDelay() const { return prefixCollisionDelay_; }

    /// The typed characters kept (at most 100).
    std::string_view typedBuffer() const { return buffer_.text(); }
    const RegexCache& regexCache() const { return regexCache_; }
    std::uint64_t prewarmGeneration() const { return prewarmGeneration_; }

  private:
    struct Candidate {
        SnippetRef snippet;
        std::size_t start = 0;  // the character where the typed abbreviation begins
        std::string_view typed;
        EffectiveSnippetRules rules;
    };

    void matchSearch(std::string_view text, bool isDelimiter, const AppSettings& settings);
    bool tryInlineInvocation(std::string_view text, const AppSettings& settings);
    /// Walks the tails of `run` longest first, exact lookups before folded ones, and returns
    /// the first candidate `accept` takes.
    template <typename Accept>
    std::optional<Candidate> searchTails(const CharacterRun& run, const AppSettings& settings,
                                         Accept accept);
    bool tryRegexes(const CharacterRun& run, TriggerMode wanted, DetectionTrigger trigger,
                    const AppSettings& settings);
    void handleImmediateMatch(const Candidate& candidate, const AppSettings& settings);
    void expandNow(const SnippetRef& snippet, bool inDisabledGroup, DetectedAbbreviation match);
    void startWait(const SnippetRef& snippet, std::string abbreviation);
    bool continuesPending(const PendingExpansion& pending, std::string_view text);
    bool longerAbbreviationMayFollow(std::string_view text, const Snippet& matched,
                                     const AppSettings& settings);
    void flush(const std::string& trailingText);
    std::optional<PendingExpansion> takePendingQuietly();
    bool hasInlineFields(const Snippet& snippet) const;
    std::string_view lowercasedForLookup(std::string_view text);
    std::optional<FocusIdentity> currentFocusIdentity();

    const SnippetGroupLookup& groups_;
    const SettingsSource& settings_;
    AccessibilityService& accessibility_;
    SnippetCache& cache_;
    Executor& executor_;
    SnippetRules rules_;

    TypedBuffer buffer_{maxBufferLength};
    RegexCache regexCache_{regexCacheCapacity};
    std::uint64_t prewarmGeneration_ = 0;
    std::optional<std::string> currentAppBundleId_;
    Duration prefixCollisionDelay_ = defaultPrefixCollisionDelay;
    std::optional<PendingExpansion> pending_;

    // Scratch space reused between keystrokes so the common path does not allocate.
    std::vector<std::size_t> tailLengths_;
    std::vector<std::uint32_t> regexCandidates_;
    std::string lowercaseScratch_;
    icu::UnicodeString regexInput_;

    // Tasks posted to the executor check this before touching the detector.
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace wordloom
