#pragma once

#include <QPushButton>
#include <functional>

#include "core/library/Snippet.h"

namespace wordloom {

/// A button that records a key combination: press it (or Space on it), then the keys. Escape
/// gives up, Backspace clears. A combination needs Ctrl, Alt or Super; Shift alone does not
/// make one.
class ShortcutRecorder final : public QPushButton {
  public:
    explicit ShortcutRecorder(QWidget* parent = nullptr);

    void setShortcut(const KeyboardShortcut& shortcut);
    const KeyboardShortcut& shortcut() const { return shortcut_; }

    /// Called when the user recorded or cleared a shortcut.
    std::function<void(const KeyboardShortcut&)> onRecorded;

    /// The shortcut a key press makes, or nullopt when it is no shortcut (no Ctrl, Alt or
    /// Super, or only modifiers).
    static std::optional<KeyboardShortcut> fromKeyPress(int key, Qt::KeyboardModifiers modifiers,
                                                        const QString& text);

  protected:
    void keyPressEvent(QKeyEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

  private:
    void startRecording();
    void stopRecording();
    void showShortcut();

    KeyboardShortcut shortcut_;
    bool recording_ = false;
};

}  // namespace wordloom
