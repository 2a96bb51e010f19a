#include "platform/x11/XkbKeyTranslator.h"

#include <xcb/xcb.h>
// xcb's XKB header names a member "explicit", a C++ keyword.
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit
#include <xkbcommon/xkbcommon-compose.h>
#include <xkbcommon/xkbcommon-keysyms.h>
#include <xkbcommon/xkbcommon-x11.h>
#include <xkbcommon/xkbcommon.h>

#include <array>
#include <clocale>
#include <cstdlib>

#include "core/base/Log.h"
#include "core/base/Text.h"

namespace wordloom {

namespace {

const Logger& logger() {
    static const Logger instance("KeyboardMonitor");
    return instance;
}

std::optional<SpecialKey> specialKeyForKeysym(xkb_keysym_t keysym) {
    switch (keysym) {
        case XKB_KEY_BackSpace:
            return SpecialKey::backspace;
        case XKB_KEY_Delete:
        case XKB_KEY_KP_Delete:
            return SpecialKey::delete_;
        case XKB_KEY_Return:
        case XKB_KEY_KP_Enter:
            return SpecialKey::returnKey;
        case XKB_KEY_Tab:
        case XKB_KEY_ISO_Left_Tab:
        case XKB_KEY_KP_Tab:
            return SpecialKey::tab;
        case XKB_KEY_Escape:
            return SpecialKey::escape;
        case XKB_KEY_space:
        case XKB_KEY_KP_Space:
            return SpecialKey::space;
        case XKB_KEY_Left:
        case XKB_KEY_KP_Left:
            return SpecialKey::arrowLeft;
        case XKB_KEY_Right:
        case XKB_KEY_KP_Right:
            return SpecialKey::arrowRight;
        case XKB_KEY_Up:
        case XKB_KEY_KP_Up:
            return SpecialKey::arrowUp;
        case XKB_KEY_Down:
        case XKB_KEY_KP_Down:
            return SpecialKey::arrowDown;
        default:
            return std::nullopt;
    }
}

bool isModifierKeysym(xkb_keysym_t keysym) {
    return (keysym >= XKB_KEY_Shift_L && keysym <= XKB_KEY_Hyper_R) ||
           (keysym >= XKB_KEY_ISO_Lock && keysym <= XKB_KEY_ISO_Last_Group_Lock) ||
           keysym == XKB_KEY_Num_Lock || keysym == XKB_KEY_Mode_switch;
}

std::string keysymText(xkb_keysym_t keysym) {
    std::array<char, 16> buffer{};
    const int length = xkb_keysym_to_utf8(keysym, buffer.data(), buffer.size());
    return length > 1 ? std::string(buffer.data(), static_cast<std::size_t>(length - 1)) : "";
}

}  // namespace

std::unique_ptr<XkbKeyTranslator> XkbKeyTranslator::create() {
    std::unique_ptr<XkbKeyTranslator> translator(new XkbKeyTranslator());
    translator->connection_ = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(translator->connection_)) {
        logger().error("Cannot connect to the X display for the keyboard layout");
        return nullptr;
    }
    if (!xkb_x11_setup_xkb_extension(translator->connection_, XKB_X11_MIN_MAJOR_XKB_VERSION,
                                     XKB_X11_MIN_MINOR_XKB_VERSION,
                                     XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr,
                                     &translator->firstXkbEvent_, nullptr)) {
        logger().error("The X server has no XKB extension");
        return nullptr;
    }
    translator->deviceId_ = xkb_x11_get_core_keyboard_device_id(translator->connection_);
    translator->context_ = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
    if (translator->deviceId_ < 0 || !translator->context_ || !translator->loadKeymap()) {
        logger().error("Cannot read the keyboard layout");
        return nullptr;
    }

    // Keymap changes (layout switches, remapped keys) arrive as XKB events.
    const std::uint16_t events =
        XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
    xcb_xkb_select_events(translator->connection_,
                          static_cast<xcb_xkb_device_spec_t>(translator->deviceId_), events, 0,
                          events, 0xff, 0xff, nullptr);
    xcb_flush(translator->connection_);

    const char* locale = std::getenv("LC_ALL");
    if (!locale || !*locale)
        locale = std::getenv("LC_CTYPE");
    if (!locale || !*locale)
        locale = std::getenv("LANG");
    if (!locale || !*locale)
        locale = "C";
    translator->composeTable_ = xkb_compose_table_new_from_locale(translator->context_, locale,
                                                                  XKB_COMPOSE_COMPILE_NO_FLAGS);
    if (!translator->composeTable_) {
        translator->composeTable_ = xkb_compose_table_new_from_locale(
            translator->context_, "en_US.UTF-8", XKB_COMPOSE_COMPILE_NO_FLAGS);
    }
    if (translator->composeTable_) {
        translator->compose_ =
            xkb_compose_state_new(translator->composeTable_, XKB_COMPOSE_STATE_NO_FLAGS);
    }
    return translator;
}

XkbKeyTranslator::~XkbKeyTranslator() {
    xkb_compose_state_unref(compose_);
    xkb_compose_table_unref(composeTable_);
    xkb_state_unref(state_);
    xkb_keymap_unref(keymap_);
    xkb_context_unref(context_);
    if (connection_) {
        xcb_disconnect(connection_);
    }
}

bool XkbKeyTranslator::loadKeymap() {
    xkb_keymap* keymap = xkb_x11_keymap_new_from_device(context_, connection_, deviceId_,
                                                        XKB_KEYMAP_COMPILE_NO_FLAGS);
    if (!keymap) {
        return false;
    }
    xkb_state* server = xkb_x11_state_new_from_device(keymap, connection_, deviceId_);
    xkb_state* state = server ? xkb_state_new(keymap) : nullptr;
    if (!state) {
        xkb_state_unref(server);
        xkb_keymap_unref(keymap);
        return false;
    }
    // Locks and the layout come from the server. Modifiers held down come from the keys we saw
    // go down: taken from the server, a Shift held during the reload would never be released.
    xkb_state_update_mask(state, 0, xkb_state_serialize_mods(server, XKB_STATE_MODS_LATCHED),
                          xkb_state_serialize_mods(server, XKB_STATE_MODS_LOCKED), 0, 0,
                          xkb_state_serialize_layout(server, XKB_STATE_LAYOUT_LOCKED));
    xkb_state_unref(server);
    for (std::size_t keycode = 0; keycode < keysDown_.size(); ++keycode) {
        if (keysDown_.test(keycode)) {
            xkb_state_update_key(state, static_cast<xkb_keycode_t>(keycode), XKB_KEY_DOWN);
        }
    }
    xkb_state_unref(state_);
    xkb_keymap_unref(keymap_);
    keymap_ = keymap;
    state_ = state;
    return true;
}

int XkbKeyTranslator::fileDescriptor() const {
    return xcb_get_file_descriptor(connection_);
}

bool XkbKeyTranslator::connectionBroken() const {
    return xcb_connection_has_error(connection_) != 0;
}

void XkbKeyTranslator::processEvents() {
    bool reload = false;
    while (xcb_generic_event_t* event = xcb_poll_for_event(connection_)) {
        if ((event->response_type & 0x7f) == firstXkbEvent_) {
            reload = true;
        }
        std::free(event);
    }
    if (reload && !loadKeymap()) {
        logger().error("Cannot reload the keyboard layout; keeping the previous one");
    }
}

KeyDown XkbKeyTranslator::press(std::uint8_t keycode) {
    KeyDown key;
    const xkb_keysym_t keysym = xkb_state_key_get_one_sym(state_, keycode);
    const bool modified =
        xkb_state_mod_name_is_active(state_, XKB_MOD_NAME_CTRL, XKB_STATE_MODS_EFFECTIVE) > 0 ||
        xkb_state_mod_name_is_active(state_, XKB_MOD_NAME_ALT, XKB_STATE_MODS_EFFECTIVE) > 0 ||
        xkb_state_mod_name_is_active(state_, XKB_MOD_NAME_LOGO, XKB_STATE_MODS_EFFECTIVE) > 0;

    if (!isModifierKeysym(keysym)) {
        key.modified = modified;
        key.special = specialKeyForKeysym(keysym);
        if (compose_ && (modified || key.special)) {
            xkb_compose_state_reset(compose_);
        } else if (compose_ &&
                   xkb_compose_state_feed(compose_, keysym) == XKB_COMPOSE_FEED_ACCEPTED) {
            switch (xkb_compose_state_get_status(compose_)) {
                case XKB_COMPOSE_COMPOSING:
                    break;  // a dead key or compose sequence in progress types nothing yet
                case XKB_COMPOSE_COMPOSED: {
                    std::array<char, 64> buffer{};
                    const int length =
                        xkb_compose_state_get_utf8(compose_, buffer.data(), buffer.size());
                    key.text.assign(buffer.data(), static_cast<std::size_t>(std::max(length, 0)));
                    if (key.text.empty()) {
                        key.text = keysymText(xkb_compose_state_get_one_sym(compose_));
                    }
                    xkb_compose_state_reset(compose_);
                    break;
                }
                case XKB_COMPOSE_CANCELLED:
                    xkb_compose_state_reset(compose_);
                    break;
                case XKB_COMPOSE_NOTHING: {
                    std::array<char, 64> buffer{};
                    const int length =
                        xkb_state_key_get_utf8(state_, keycode, buffer.data(), buffer.size());
                    key.text.assign(buffer.data(), static_cast<std::size_t>(std::max(length, 0)));
                    break;
                }
            }
        } else if (!key.special && !modified) {
            std::array<char, 64> buffer{};
            const int length =
                xkb_state_key_get_utf8(state_, keycode, buffer.data(), buffer.size());
            key.text.assign(buffer.data(), static_cast<std::size_t>(std::max(length, 0)));
        }
        if (text::containsControlCharacter(key.text)) {
            key.text.clear();
        }
    }
    track(keycode, true);
    return key;
}

void XkbKeyTranslator::release(std::uint8_t keycode) {
    track(keycode, false);
}

void XkbKeyTranslator::track(std::uint8_t keycode, bool down) {
    // An auto-repeated press is a second press of a key already down: xkbcommon must see each
    // key go down once, or a repeated modifier would stay latched after its release.
    if (keysDown_.test(keycode) == down) {
        return;
    }
    keysDown_.set(keycode, down);
    xkb_state_update_key(state_, keycode, down ? XKB_KEY_DOWN : XKB_KEY_UP);
}

}  // namespace wordloom
