#include "ui/WindowPlacement.h"

#include <QByteArray>
#include <QWidget>

#include "core/library/UserDefaults.h"

namespace wordloom {

bool WindowPlacement::restore(QWidget& window) const {
    const auto saved = defaults_.stringForKey(key_);
    if (!saved) {
        return false;
    }
    return window.restoreGeometry(QByteArray::fromBase64(QByteArray::fromStdString(*saved)));
}

void WindowPlacement::save(const QWidget& window) const {
    const auto geometry = window.saveGeometry().toBase64().toStdString();
    if (defaults_.stringForKey(key_) != geometry) {
        defaults_.setString(key_, geometry);
    }
}

}  // namespace wordloom
