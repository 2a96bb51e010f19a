#pragma once

#include <optional>

struct _XDisplay;

namespace wordloom {

/// Remembers the active window and gives it focus back later: a window of ours (the fill-in
/// form) took focus in between, and the text must land where the user was typing.
class X11WindowFocus {
  public:
    X11WindowFocus();
    ~X11WindowFocus();
    X11WindowFocus(const X11WindowFocus&) = delete;
    X11WindowFocus& operator=(const X11WindowFocus&) = delete;

    void remember();
    /// Activates the remembered window and waits (at most half a second) until it is active.
    void restore();

  private:
    _XDisplay* display_ = nullptr;
    bool broken_ = false;
    std::optional<unsigned long> remembered_;
};

}  // namespace wordloom
