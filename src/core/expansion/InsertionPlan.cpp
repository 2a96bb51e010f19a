#include "core/expansion/InsertionPlan.h"

#include <algorithm>

#include "core/base/Text.h"

namespace wordloom {

InsertionPlan InsertionPlan::cut(std::string_view text,
                                 const std::vector<PlannedKeystroke>& keystrokes) {
    const auto boundaries = text::characterBoundaries(text);
    const std::size_t length = boundaries.size() - 1;

    std::vector<std::size_t> positions;
    for (const auto& keystroke : keystrokes) {
        positions.push_back(std::min(keystroke.position, length));
    }
    std::sort(positions.begin(), positions.end());
    positions.erase(std::unique(positions.begin(), positions.end()), positions.end());

    InsertionPlan plan;
    std::size_t start = 0;
    for (const std::size_t position : positions) {
        InsertionSegment segment;
        segment.text =
            std::string(text.substr(boundaries[start], boundaries[position] - boundaries[start]));
        for (const auto& keystroke : keystrokes) {
            if (std::min(keystroke.position, length) == position) {
                segment.keysAfter.push_back(keystroke.key);
            }
        }
        plan.segments.push_back(std::move(segment));
        start = position;
    }
    if (start < length || plan.segments.empty()) {
        plan.segments.push_back({std::string(text.substr(boundaries[start])), {}, {}});
    }
    return plan;
}

void InsertionPlan::appendTrailingText(std::string_view trailing) {
    if (trailing.empty()) {
        return;
    }
    if (!segments.empty() && segments.back().keysAfter.empty() && segments.back().formats.empty()) {
        segments.back().text += trailing;
    } else {
        segments.push_back({std::string(trailing), {}, {}});
    }
}

bool InsertionPlan::hasText() const {
    return std::any_of(segments.begin(), segments.end(),
                       [](const InsertionSegment& segment) { return !segment.text.empty(); });
}

}  // namespace wordloom
