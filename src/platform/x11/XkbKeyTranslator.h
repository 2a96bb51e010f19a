#pragma once

#include <bitset>
#include <cstdint>
#include <memory>

#include "core/expansion/KeyboardMonitor.h"

struct xcb_connection_t;
struct xkb_context;
struct xkb_keymap;
struct xkb_state;
struct xkb_compose_table;
struct xkb_compose_state;

namespace wordloom {

/// Turns X key codes into what they type with the live keyboard layout: xkbcommon's keymap
/// and state (Shift, AltGr, Caps Lock, group), dead keys and compose sequences from the
/// locale's compose table. Reloads the keymap when the server's changes (a layout switch, or a
/// tool remapping a spare key). Owns its own XCB connection for the keymap and its events.
class XkbKeyTranslator {
  public:
    /// nullptr when the display or its XKB extension is not available.
    static std::unique_ptr<XkbKeyTranslator> create();
    ~XkbKeyTranslator();
    XkbKeyTranslator(const XkbKeyTranslator&) = delete;
    XkbKeyTranslator& operator=(const XkbKeyTranslator&) = delete;

    /// A key went down: what it types, given the modifiers held before it. Updates the state.
    KeyDown press(std::uint8_t keycode);
    /// A key went up: updates the state only.
    void release(std::uint8_t keycode);
    /// A key went down or up while its text is not wanted (our own keys): state only.
    void track(std::uint8_t keycode, bool down);

    /// The connection to watch for keymap changes; call processEvents() when it is readable.
    int fileDescriptor() const;
    void processEvents();
    bool connectionBroken() const;

  private:
    XkbKeyTranslator() = default;
    bool loadKeymap();

    xcb_connection_t* connection_ = nullptr;
    std::int32_t deviceId_ = -1;
    std::uint8_t firstXkbEvent_ = 0;
    xkb_context* context_ = nullptr;
    xkb_keymap* keymap_ = nullptr;
    xkb_state* state_ = nullptr;
    xkb_compose_table* composeTable_ = nullptr;
    xkb_compose_state* compose_ = nullptr;
    std::bitset<256> keysDown_;
};

}  // namespace wordloom
