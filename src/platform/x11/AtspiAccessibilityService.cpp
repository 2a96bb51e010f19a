#include "platform/x11/AtspiAccessibilityService.h"

#include <atspi/atspi.h>
#include <gio/gio.h>

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <vector>

namespace wordloom {

namespace {

constexpr int busAnswerMilliseconds = 200;
constexpr int callMilliseconds = 100;

std::string takeString(gchar* value) {
    std::string result = value ? value : "";
    g_free(value);
    return result;
}

// Asks the session bus a question with a deadline; nullptr when nothing answered in time.
GVariant* callSessionBus(const char* interface, const char* method, GVariant* parameters,
                         const char* replyType) {
    GError* error = nullptr;
    GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, &error);
    if (!bus) {
        g_clear_error(&error);
        if (parameters)
            g_variant_unref(g_variant_ref_sink(parameters));
        return nullptr;
    }
    GVariant* reply = g_dbus_connection_call_sync(
        bus, "org.a11y.Bus", "/org/a11y/bus", interface, method, parameters,
        G_VARIANT_TYPE(replyType), G_DBUS_CALL_FLAGS_NONE, busAnswerMilliseconds, nullptr, &error);
    g_clear_error(&error);
    g_object_unref(bus);
    return reply;
}

}  // namespace

struct AtspiAccessibilityService::Focus {
    AtspiAccessible* accessible = nullptr;
    FocusedElement element;
    long processId = -1;
    ~Focus() {
        if (accessible)
            g_object_unref(accessible);
    }
};

namespace {

std::unique_ptr<AtspiAccessibilityService::Focus> describeFocus(AtspiAccessible* accessible) {
    auto focus = std::make_unique<AtspiAccessibilityService::Focus>();
    focus->accessible = static_cast<AtspiAccessible*>(g_object_ref(accessible));
    GError* error = nullptr;
    // The process id comes from the bus, not from the program. Our own windows are never asked:
    // the question would wait on the main thread that has to answer it.
    focus->processId =
        static_cast<long>(atspi_accessible_get_process_id(focus->accessible, &error));
    g_clear_error(&error);
    if (focus->processId == static_cast<long>(getpid())) {
        return focus;
    }
    const AtspiRole role = atspi_accessible_get_role(focus->accessible, &error);
    g_clear_error(&error);
    focus->element.role = takeString(atspi_role_get_name(role));
    focus->element.roleDescription =
        takeString(atspi_accessible_get_localized_role_name(focus->accessible, &error));
    g_clear_error(&error);
    if (role == ATSPI_ROLE_PASSWORD_TEXT) {
        focus->element.subrole = "AXSecureTextField";
    }
    const auto* object = reinterpret_cast<AtspiObject*>(focus->accessible);
    focus->element.identity.value =
        std::string(object->app && object->app->bus_name ? object->app->bus_name : "") +
        (object->path ? object->path : "");
    return focus;
}

void onFocusEvent(AtspiEvent* event, void* userData) {
    auto* slot = static_cast<std::unique_ptr<AtspiAccessibilityService::Focus>*>(userData);
    if (event->detail1 == 1 && event->source) {
        *slot = describeFocus(event->source);
    }
    g_boxed_free(ATSPI_TYPE_EVENT, event);
}

bool hasState(AtspiAccessible* accessible, AtspiStateType state) {
    AtspiStateSet* states = atspi_accessible_get_state_set(accessible);
    if (!states) {
        return false;
    }
    const bool result = atspi_state_set_contains(states, state);
    g_object_unref(states);
    return result;
}

// Breadth-first through `root` for the focused element, within a node and a time budget (a
// hung program answers nothing and must not hold up typing).
AtspiAccessible* searchFocused(AtspiAccessible* root) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(150);
    std::vector<AtspiAccessible*> queue{static_cast<AtspiAccessible*>(g_object_ref(root))};
    AtspiAccessible* found = nullptr;
    std::size_t next = 0;
    while (next < queue.size() && next < 400 && !found &&
           std::chrono::steady_clock::now() < deadline) {
        AtspiAccessible* node = queue[next++];
        if (next > 1 && hasState(node, ATSPI_STATE_FOCUSED)) {
            found = static_cast<AtspiAccessible*>(g_object_ref(node));
            break;
        }
        GError* error = nullptr;
        const gint count = atspi_accessible_get_child_count(node, &error);
        g_clear_error(&error);
        for (gint index = 0; index < count && index < 200; ++index) {
            if (AtspiAccessible* child = atspi_accessible_get_child_at_index(node, index, &error)) {
                queue.push_back(child);
            }
            g_clear_error(&error);
        }
    }
    for (AtspiAccessible* node : queue) {
        g_object_unref(node);
    }
    return found;
}

}  // namespace

AtspiAccessibilityService::AtspiAccessibilityService(
    Executor& executor, std::function<std::optional<long>()> activeWindowProcess,
    std::function<std::optional<std::string>()> activeWindowIdentity)
    : executor_(executor),
      activeWindowProcess_(std::move(activeWindowProcess)),
      activeWindowIdentity_(std::move(activeWindowIdentity)) {
    watchStatus();
    poller_ = std::make_unique<TrustPoller>(executor_, [this] { return checkTrust(); });
}

AtspiAccessibilityService::~AtspiAccessibilityService() {
    *alive_ = false;
    if (statusSubscription_ != 0) {
        g_dbus_connection_signal_unsubscribe(static_cast<GDBusConnection*>(sessionBus_),
                                             statusSubscription_);
    }
    if (sessionBus_) {
        g_object_unref(sessionBus_);
    }
    poller_.reset();
    if (busWatch_ != 0) {
        g_bus_unwatch_name(busWatch_);
    }
    if (listener_) {
        atspi_event_listener_deregister(static_cast<AtspiEventListener*>(listener_),
                                        "object:state-changed:focused", nullptr);
        g_object_unref(listener_);
    }
    focus_.reset();
    clearApplications();
}

const char* AtspiAccessibilityService::enableInstructions() {
    return "Wordloom reads the focused text field through the desktop's accessibility support "
           "(AT-SPI), which is turned off. Turn it on in your desktop's accessibility settings, "
           "or run: gsettings set org.gnome.desktop.interface toolkit-accessibility true "
           "(and make sure the at-spi2-core package is installed).";
}

void AtspiAccessibilityService::watchStatus() {
    // Without an address GLib would try to start a bus through X11: not ours to do.
    if (!std::getenv("DBUS_SESSION_BUS_ADDRESS")) {
        return;
    }
    GError* error = nullptr;
    GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, &error);
    g_clear_error(&error);
    if (!bus) {
        return;
    }
    sessionBus_ = bus;
    // Emitted by the bus launcher when IsEnabled or ScreenReaderEnabled is set; delivered on
    // the main thread's GLib context, which Qt's event loop runs.
    statusSubscription_ = g_dbus_connection_signal_subscribe(
        bus, "org.a11y.Bus", "org.freedesktop.DBus.Properties", "PropertiesChanged",
        "/org/a11y/bus", "org.a11y.Status", G_DBUS_SIGNAL_FLAGS_NONE,
        [](GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*, GVariant*,
           gpointer self) { static_cast<AtspiAccessibilityService*>(self)->statusChanged(); },
        this, nullptr);
}

void AtspiAccessibilityService::statusChanged() {
    logger_.info("The desktop's accessibility status changed; checking again");
    // Not from inside the D-Bus dispatch: the check itself calls the bus.
    executor_.post([this, alive = alive_] {
        if (*alive) {
            poller_->recheck();
        }
    });
}

std::string AtspiAccessibilityService::waitingReason() const {
    return waitingReason_;
}

bool AtspiAccessibilityService::checkTrust() {
    if (!std::getenv("DBUS_SESSION_BUS_ADDRESS") && !std::getenv("AT_SPI_BUS_ADDRESS")) {
        waitingReason_ = "no session D-Bus (DBUS_SESSION_BUS_ADDRESS is not set)";
        return false;
    }
    GVariant* address = callSessionBus("org.a11y.Bus", "GetAddress", nullptr, "(s)");
    if (!address) {
        waitingReason_ = "the accessibility bus (org.a11y.Bus) does not answer";
        return false;
    }
    g_variant_unref(address);
    GVariant* enabled =
        callSessionBus("org.freedesktop.DBus.Properties", "Get",
                       g_variant_new("(ss)", "org.a11y.Status", "IsEnabled"), "(v)");
    bool isEnabled = false;
    if (enabled) {
        GVariant* value = nullptr;
        g_variant_get(enabled, "(v)", &value);
        isEnabled = value && g_variant_is_of_type(value, G_VARIANT_TYPE_BOOLEAN) &&
                    g_variant_get_boolean(value);
        if (value)
            g_variant_unref(value);
        g_variant_unref(enabled);
    }
    if (!isEnabled) {
        waitingReason_ = "the desktop's accessibility support is turned off";
        return false;
    }
    waitingReason_.clear();
    return ensureAtspi();
}

bool AtspiAccessibilityService::ensureAtspi() {
    if (atspiReady_) {
        return true;
    }
    // Only now that the bus answered is atspi_init safe to call.
    const int status = atspi_init();
    if (status != 0 && status != 1) {
        waitingReason_ = "AT-SPI could not be initialised";
        return false;
    }
    atspi_set_timeout(callMilliseconds, 1000);
    auto* listener = atspi_event_listener_new(onFocusEvent, &focus_, nullptr);
    GError* error = nullptr;
    atspi_event_listener_register(listener, "object:state-changed:focused", &error);
    g_clear_error(&error);
    listener_ = listener;
    atspiReady_ = true;
    if (busWatch_ == 0) {
        // The accessibility bus can go away (its launcher restarted); everything read through
        // it is then stale, and libatspi has to connect again.
        busWatch_ = g_bus_watch_name(
            G_BUS_TYPE_SESSION, "org.a11y.Bus", G_BUS_NAME_WATCHER_FLAGS_NONE, nullptr,
            [](GDBusConnection*, const gchar*, gpointer self) {
                static_cast<AtspiAccessibilityService*>(self)->accessibilityBusLost();
            },
            this, nullptr);
    }
    return true;
}

void AtspiAccessibilityService::accessibilityBusLost() {
    if (!atspiReady_) {
        return;
    }
    logger_.error("The accessibility bus went away; waiting for it to come back");
    focus_.reset();
    if (listener_) {
        GError* error = nullptr;
        atspi_event_listener_deregister(static_cast<AtspiEventListener*>(listener_),
                                        "object:state-changed:focused", &error);
        g_clear_error(&error);
        g_object_unref(listener_);
        listener_ = nullptr;
    }
    atspiReady_ = false;
    // libatspi cannot connect to a second bus in the same process: the process starts again.
    if (onBusLost) {
        onBusLost();
    }
}

bool AtspiAccessibilityService::isAccessibilityEnabled() const {
    return poller_->isTrusted();
}

bool AtspiAccessibilityService::recheckTrust() {
    return poller_->recheck();
}

void AtspiAccessibilityService::setOnAccessibilityGranted(std::function<void()> callback) {
    poller_->setOnGranted(std::move(callback));
}

AtspiAccessibilityService::Focus* AtspiAccessibilityService::currentFocus() {
    if (!isAccessibilityEnabled() || !focus_ || focus_->processId == static_cast<long>(getpid())) {
        return nullptr;
    }
    // The focus reported last belongs to another program than the active window's: that
    // window's program does not report its focus.
    const auto process = activeWindowProcess_ ? activeWindowProcess_() : std::nullopt;
    if (process && focus_->processId > 0 && *process != focus_->processId) {
        return nullptr;
    }
    return focus_.get();
}

std::optional<FocusedElement> AtspiAccessibilityService::focusedElement() {
    if (!isAccessibilityEnabled()) {
        return std::nullopt;
    }
    if (auto* focus = currentFocus()) {
        return focus->element;
    }
    // A program that speaks AT-SPI but has not told us its focus yet could be showing a
    // password field: no answer. One that does not speak it (xterm) is represented by its window.
    const auto process = activeWindowProcess_ ? activeWindowProcess_() : std::nullopt;
    if (process && *process == static_cast<long>(getpid())) {
        // One of our own panels (quick search, a fill-in form): plain text fields.
        return FocusedElement{{"window:wordloom"}, "window", "", "window"};
    }
    if (process && speaksAtspi(*process)) {
        // Its focus event was missed (it had focus before we listened): look for the focus.
        if (recoverFocus(*process)) {
            return focus_->element;
        }
        return std::nullopt;
    }
    if (!process) {
        return std::nullopt;
    }
    const auto window = activeWindowIdentity_ ? activeWindowIdentity_() : std::nullopt;
    if (!window) {
        return std::nullopt;
    }
    return FocusedElement{{"window:" + *window}, "window", "", "window"};
}

bool AtspiAccessibilityService::recoverFocus(long process) {
    const auto now = std::chrono::steady_clock::now();
    if (process == lastSearchProcess_ && now - lastSearch_ < std::chrono::seconds(1)) {
        return false;
    }
    lastSearchProcess_ = process;
    lastSearch_ = now;
    const auto found = applications_.find(process);
    if (found == applications_.end()) {
        return false;
    }
    AtspiAccessible* focused = searchFocused(static_cast<AtspiAccessible*>(found->second));
    if (!focused) {
        return false;
    }
    focus_ = describeFocus(focused);
    g_object_unref(focused);
    return true;
}

bool AtspiAccessibilityService::speaksAtspi(long process) {
    const auto now = std::chrono::steady_clock::now();
    if (now - applicationsReadAt_ > std::chrono::seconds(2)) {
        applicationsReadAt_ = now;
        clearApplications();
        GError* error = nullptr;
        AtspiAccessible* desktop = atspi_get_desktop(0);
        const gint count = desktop ? atspi_accessible_get_child_count(desktop, &error) : 0;
        g_clear_error(&error);
        for (gint index = 0; index < count && index < 256; ++index) {
            AtspiAccessible* application =
                atspi_accessible_get_child_at_index(desktop, index, &error);
            g_clear_error(&error);
            if (application) {
                const auto pid =
                    static_cast<long>(atspi_accessible_get_process_id(application, &error));
                g_clear_error(&error);
                if (!applications_.emplace(pid, application).second) {
                    g_object_unref(application);
                }
            }
        }
        if (desktop)
            g_object_unref(desktop);
    }
    return applications_.count(process) > 0;
}

void AtspiAccessibilityService::clearApplications() {
    for (auto& [pid, application] : applications_) {
        g_object_unref(static_cast<AtspiAccessible*>(application));
    }
    applications_.clear();
}

std::optional<std::string> AtspiAccessibilityService::selectedText() {
    auto* focus = currentFocus();
    if (!focus || isSecureTextField(focus->element)) {
        return std::nullopt;
    }
    AtspiText* text = atspi_accessible_get_text_iface(focus->accessible);
    if (!text) {
        return std::nullopt;
    }
    GError* error = nullptr;
    std::optional<std::string> result;
    if (atspi_text_get_n_selections(text, &error) > 0) {
        AtspiRange* range = atspi_text_get_selection(text, 0, &error);
        if (range && !error) {
            result = takeString(
                atspi_text_get_text(text, range->start_offset, range->end_offset, &error));
        }
        if (range)
            g_boxed_free(ATSPI_TYPE_RANGE, range);
    }
    if (error) {
        result.reset();
    }
    g_clear_error(&error);
    g_object_unref(text);
    return result;
}

std::optional<std::size_t> AtspiAccessibilityService::caretOffset() {
    auto* focus = currentFocus();
    if (!focus) {
        return std::nullopt;
    }
    AtspiText* text = atspi_accessible_get_text_iface(focus->accessible);
    if (!text) {
        return std::nullopt;
    }
    GError* error = nullptr;
    const gint offset = atspi_text_get_caret_offset(text, &error);
    const bool failed = error != nullptr || offset < 0;
    g_clear_error(&error);
    g_object_unref(text);
    return failed ? std::nullopt : std::optional<std::size_t>(static_cast<std::size_t>(offset));
}

bool AtspiAccessibilityService::setCaretOffset(std::size_t offset) {
    auto* focus = currentFocus();
    if (!focus) {
        return false;
    }
    AtspiText* text = atspi_accessible_get_text_iface(focus->accessible);
    if (!text) {
        return false;
    }
    GError* error = nullptr;
    const bool moved = atspi_text_set_caret_offset(text, static_cast<gint>(offset), &error);
    const bool failed = error != nullptr;
    g_clear_error(&error);
    g_object_unref(text);
    return moved && !failed;
}

}  // namespace wordloom
