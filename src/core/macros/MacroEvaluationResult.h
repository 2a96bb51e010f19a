#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/macros/FillInField.h"
#include "core/macros/ParsedMacro.h"
#include "core/macros/SimulatedKey.h"

namespace wordloom {

/// A key to press once the text before `position` (in characters of the expanded text) is in.
struct KeystrokeAction {
    std::size_t position = 0;
    SimulatedKey key = SimulatedKey::tab;
    bool operator==(const KeystrokeAction&) const = default;
};

/// An {{ai:...}} macro that was not generated (in preview).
struct PendingAIRequest {
    std::string prompt;
    std::optional<std::string> provider;
    std::optional<std::string> model;
    /// Values the prompt may refer to as $name or ${name}.
    std::map<std::string, std::string> context;
    bool operator==(const PendingAIRequest&) const = default;
};

/// What one evaluation of a snippet's content produced.
struct MacroEvaluationResult {
    std::string expandedContent;
    /// Where the caret goes after insertion, in characters: the first {{cursor}}.
    std::optional<std::size_t> cursorPosition;
    /// The fields to ask for, in order of first appearance; fields sharing a valueKey are linked.
    std::vector<FillInField> fillInFields;
    /// Keys to press after insertion, in text order.
    std::vector<KeystrokeAction> keystrokes;
    /// The macros of the top-level content.
    std::vector<ParsedMacro> parsedMacros;
    /// Offsets, in characters, of every {{cursor}} in the expanded text.
    std::vector<std::size_t> cursorCandidates;
    /// Every error text written into the output, in order.
    std::vector<std::string> macroErrors;
    std::vector<PendingAIRequest> pendingAIRequests;
};

}  // namespace wordloom
