#include "core/expansion/KeyboardMonitor.h"

namespace wordloom {

void KeyboardMonitor::dispatch(const KeyDown& key) const {
    if (key.modified) {
        if (onSpecialKey) {
            onSpecialKey(SpecialKey::escape);
        }
        return;
    }
    if (key.special) {
        if (onSpecialKey) {
            onSpecialKey(*key.special);
        }
        return;
    }
    if (!key.text.empty() && onKeyPress) {
        onKeyPress(key.text);
    }
}

}  // namespace wordloom
