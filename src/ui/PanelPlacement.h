#pragma once

class QWidget;

namespace wordloom {

/// Centres `panel` on the screen the mouse is on, a little above the middle, where the eye
/// goes first.
void centreOnScreenWithMouse(QWidget& panel);

}  // namespace wordloom
