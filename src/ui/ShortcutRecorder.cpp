#include "ui/ShortcutRecorder.h"

#include <QKeyEvent>
#include <QKeySequence>

#include "core/library/ShortcutText.h"

namespace wordloom {

ShortcutRecorder::ShortcutRecorder(QWidget* parent) : QPushButton(parent) {
    setObjectName("shortcutRecorder");
    setCheckable(false);
    QObject::connect(this, &QPushButton::clicked, this, [this] { startRecording(); });
    showShortcut();
}

void ShortcutRecorder::setShortcut(const KeyboardShortcut& shortcut) {
    shortcut_ = shortcut;
    showShortcut();
}

std::optional<KeyboardShortcut> ShortcutRecorder::fromKeyPress(int key,
                                                               Qt::KeyboardModifiers modifiers,
                                                               const QString& text) {
    if (key == Qt::Key_Shift || key == Qt::Key_Control || key == Qt::Key_Alt ||
        key == Qt::Key_Meta || key == Qt::Key_Super_L || key == Qt::Key_Super_R ||
        key == Qt::Key_AltGr || key == 0 || key == Qt::Key_unknown) {
        return std::nullopt;
    }
    KeyboardShortcut shortcut;
    if (modifiers & Qt::ControlModifier) {
        shortcut.modifiers |= modifier::control;
    }
    if (modifiers & Qt::AltModifier) {
        shortcut.modifiers |= modifier::option;
    }
    if (modifiers & Qt::MetaModifier) {
        shortcut.modifiers |= modifier::command;
    }
    if (!(shortcut.modifiers & modifier::shortcutMask)) {
        return std::nullopt;
    }
    if (modifiers & Qt::ShiftModifier) {
        shortcut.modifiers |= modifier::shift;
    }
    // The key's own character (Qt reports letters in upper case whatever Shift says).
    QString name = QKeySequence(key).toString(QKeySequence::PortableText).toLower();
    if (name.isEmpty()) {
        name = text.toLower();
    }
    if (name.isEmpty()) {
        return std::nullopt;
    }
    shortcut.key = name.toStdString();
    return shortcut;
}

void ShortcutRecorder::keyPressEvent(QKeyEvent* event) {
    if (!recording_) {
        if (event->key() == Qt::Key_Backspace || event->key() == Qt::Key_Delete) {
            setShortcut({});
            if (onRecorded) {
                onRecorded(shortcut_);
            }
            return;
        }
        QPushButton::keyPressEvent(event);
        return;
    }
    if (event->key() == Qt::Key_Escape && event->modifiers() == Qt::NoModifier) {
        stopRecording();
        return;
    }
    const auto recorded = fromKeyPress(event->key(), event->modifiers(), event->text());
    if (!recorded) {
        return;  // keep waiting for a key with a modifier
    }
    shortcut_ = *recorded;
    stopRecording();
    if (onRecorded) {
        onRecorded(shortcut_);
    }
}

void ShortcutRecorder::focusOutEvent(QFocusEvent* event) {
    stopRecording();
    QPushButton::focusOutEvent(event);
}

void ShortcutRecorder::startRecording() {
    recording_ = true;
    grabKeyboard();
    setText("Press the keys\u2026 (Esc gives up)");
}

void ShortcutRecorder::stopRecording() {
    if (recording_) {
        recording_ = false;
        releaseKeyboard();
    }
    showShortcut();
}

void ShortcutRecorder::showShortcut() {
    const auto text = shortcutText(shortcut_);
    setText(text.empty() ? QString("None (press to record)") : QString::fromStdString(text));
    setAccessibleDescription("Press to record a new shortcut; Backspace clears it");
}

}  // namespace wordloom
