#pragma once

#include <QWidget>

#include "ui/WindowPlacement.h"

namespace wordloom {

/// The macro reference, shipped inside the program.
class HelpWindow final : public QWidget {
  public:
    explicit HelpWindow(UserDefaults& defaults);
    void present();

  protected:
    void hideEvent(QHideEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

  private:
    WindowPlacement placement_;
};

}  // namespace wordloom
