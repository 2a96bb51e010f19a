#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/expansion/KeyInjector.h"
#include "core/expansion/Pasteboard.h"
#include "core/expansion/VirtualKey.h"

namespace wordloom {

/// A key due at a character offset of the expanded text.
struct PlannedKeystroke {
    std::size_t position = 0;
    VirtualKeyCode key = 0;
};

/// One piece of the expanded text and the keys pressed right after it is pasted.
struct InsertionSegment {
    std::string text;
    std::vector<VirtualKeyCode> keysAfter;
    /// Representations written instead of `text` alone (rich text, images); empty for plain
    /// text. `text` is still what the segment counts as for the caret.
    std::vector<PasteboardItem> formats;
};

/// Everything one insertion does in the focused application.
struct InsertionPlan {
    /// Characters typed for the expansion that are erased first (abbreviation, inline
    /// arguments, and a trailing key that is re-inserted after the expansion).
    std::size_t charactersToDelete = 0;
    std::vector<InsertionSegment> segments;
    /// Where the caret goes, in characters from the start of the expanded text.
    std::optional<std::size_t> caretPosition;
    /// The paste keystroke the user chose for the focused application; none: the platform's
    /// automatic choice.
    std::optional<PasteChord> pasteChord;
    /// Asked on the main queue once the user's typing is held, before anything is erased: the
    /// text typed after the abbreviation that reached the document before the hold began. It is
    /// erased too and typed again after the expansion. nullopt: something other than text was
    /// typed (the abbreviation may be gone), and nothing is inserted.
    std::function<std::optional<std::string>()> typedMeanwhile;

    /// Cuts `text` at the positions of `keystrokes` (clamped to its length); keys sharing a
    /// position are pressed in list order. A key at offset 0 follows an empty first segment.
    static InsertionPlan cut(std::string_view text,
                             const std::vector<PlannedKeystroke>& keystrokes);

    /// Re-types `trailing` (already in the document, erased with the abbreviation) after
    /// everything else, keys included.
    void appendTrailingText(std::string_view trailing);

    bool hasText() const;
};

}  // namespace wordloom
