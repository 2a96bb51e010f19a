#include "platform/fake/FakePasteboard.h"

#include <stdexcept>

namespace wordloom {

std::uint64_t FakePasteboard::changeCount(PasteboardSelection selection) {
    return selections_[selection].changeCount;
}

std::optional<PasteboardSnapshot> FakePasteboard::snapshot(PasteboardSelection selection) {
    ++snapshots_;
    if (ownerUnresponsive_) {
        return std::nullopt;
    }
    return selections_[selection].items;
}

std::uint64_t FakePasteboard::write(PasteboardSelection selection,
                                    const std::vector<PasteboardItem>& items) {
    if (writesFail_) {
        throw std::runtime_error("the pasteboard is gone");
    }
    ++writes_;
    ownerUnresponsive_ = false;  // we own it now
    auto& state = selections_[selection];
    state.items = items;
    return ++state.changeCount;
}

std::vector<PasteboardItem> FakePasteboard::withPlatformRepresentations(
    std::vector<PasteboardItem> items) {
    return representations ? representations(std::move(items)) : items;
}

std::optional<std::string> FakePasteboard::plainText() {
    return textOf(PasteboardSelection::clipboard);
}

void FakePasteboard::waitUntilRead(Duration, Duration) {
    ++waits_;
}

void FakePasteboard::copyFromUser(PasteboardSelection selection, PasteboardSnapshot items) {
    auto& state = selections_[selection];
    state.items = std::move(items);
    ++state.changeCount;
}

const PasteboardSnapshot& FakePasteboard::contents(PasteboardSelection selection) {
    return selections_[selection].items;
}

std::optional<std::string> FakePasteboard::textOf(PasteboardSelection selection) {
    for (const auto& item : selections_[selection].items) {
        if (item.type == pasteboardType::plainText || item.type == pasteboardType::plainTextUtf8) {
            return item.data;
        }
    }
    return std::nullopt;
}

}  // namespace wordloom
