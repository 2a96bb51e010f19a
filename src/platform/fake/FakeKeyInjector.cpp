#include "platform/fake/FakeKeyInjector.h"

#include <algorithm>

namespace wordloom {

bool FakeKeyInjector::beginInjection(Duration) {
    record("begin");
    return true;
}

void FakeKeyInjector::endInjection() {
    record("end");
}

bool FakeKeyInjector::postKey(VirtualKeyCode key, bool down) {
    if (failing_) {
        return false;
    }
    record((down ? "down " : "up ") + std::to_string(key));
    if (!down) {
        return true;
    }
    switch (key) {
        case virtualKey::backspace:
            field_.backspace();
            break;
        case virtualKey::forwardDelete:
            field_.forwardDelete();
            break;
        case virtualKey::left:
            field_.moveLeft();
            break;
        case virtualKey::right:
            field_.moveRight();
            break;
        case virtualKey::tab:
            field_.type("\t");
            break;
        case virtualKey::returnKey:
        case virtualKey::keypadEnter:
            field_.type("\n");
            break;
        case virtualKey::space:
            field_.type(" ");
            break;
        default:
            break;
    }
    return true;
}

bool FakeKeyInjector::postPasteChord(PasteChord chord, bool down) {
    if (failing_) {
        return false;
    }
    record(down ? "paste down" : "paste up");
    if (down) {
        const auto selection = chord == PasteChord::shiftInsert ? PasteboardSelection::primary
                                                                : PasteboardSelection::clipboard;
        if (const auto text = pasteboard_.textOf(selection)) {
            field_.type(*text);
        }
    }
    return true;
}

void FakeKeyInjector::record(std::string event) {
    events_.push_back(std::move(event));
    if (onEvent) {
        onEvent(events_.back());
    }
}

bool FakeKeyInjector::holdTypedKeys(Duration) {
    if (holdRefused_) {
        return false;
    }
    if (!holding_) {
        holding_ = true;
        record("hold");
    }
    return true;
}

void FakeKeyInjector::releaseTypedKeys() {
    if (!holding_) {
        return;
    }
    holding_ = false;
    auto held = std::move(held_);
    held_.clear();
    for (const auto& text : held) {
        field_.type(text);
        if (onReleasedKey) {
            onReleasedKey(text);
        }
    }
    record("release");
}

void FakeKeyInjector::typeByUser(const std::string& text) {
    if (holding_) {
        held_.push_back(text);
    } else {
        field_.type(text);
    }
}

std::size_t FakeKeyInjector::pressCount(VirtualKeyCode key) const {
    const std::string wanted = "down " + std::to_string(key);
    return static_cast<std::size_t>(std::count(events_.begin(), events_.end(), wanted));
}

}  // namespace wordloom
