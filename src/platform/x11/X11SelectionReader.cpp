#include "platform/x11/X11SelectionReader.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <functional>

#include "core/base/Log.h"

// Xlib after the rest.
#include <X11/Xatom.h>

#include "platform/x11/X11Support.h"

namespace wordloom {

namespace {

using SteadyClock = std::chrono::steady_clock;

const Logger& logger() {
    static const Logger instance("Pasteboard");
    return instance;
}

bool isImage(const std::string& type) {
    return type.rfind("image/", 0) == 0;
}

bool isText(const std::string& type) {
    return type.rfind("text/", 0) == 0;
}

/// A connection and a window of our own for one read; closed with it, which also ends any
/// transfer an owner still has going to the window.
class ReadConnection {
  public:
    ReadConnection() {
        display_ = x11::openDisplay(&broken_);
        if (display_) {
            window_ =
                XCreateSimpleWindow(display_, DefaultRootWindow(display_), -10, -10, 1, 1, 0, 0, 0);
            XSelectInput(display_, window_, PropertyChangeMask);
        }
    }
    ~ReadConnection() {
        if (display_) {
            if (!broken_) {
                XDestroyWindow(display_, window_);
            }
            XCloseDisplay(display_);
        }
    }
    ReadConnection(const ReadConnection&) = delete;
    ReadConnection& operator=(const ReadConnection&) = delete;

    Display* display() const { return broken_ ? nullptr : display_; }
    Window window() const { return window_; }
    Atom atom(const char* name) const { return XInternAtom(display_, name, False); }

    /// Waits for an event `match` accepts, until `deadline`; events it does not accept are
    /// dropped (nothing else is asked of this connection).
    bool waitFor(SteadyClock::time_point deadline, const std::function<bool(const XEvent&)>& match,
                 XEvent& event) {
        while (display()) {
            while (display() && XPending(display_) > 0) {
                XNextEvent(display_, &event);
                if (match(event)) {
                    return true;
                }
            }
            const auto left = deadline - SteadyClock::now();
            if (left <= SteadyClock::duration::zero()) {
                return false;
            }
            x11::waitReadable(ConnectionNumber(display_),
                              std::min<Duration>(left, std::chrono::milliseconds(20)));
        }
        return false;
    }

  private:
    Display* display_ = nullptr;
    bool broken_ = false;
    Window window_ = 0;
};

struct Property {
    Atom type = 0;
    int format = 0;
    std::string bytes;
    bool complete = true;  // false: longer than asked for
};

/// Reads (without deleting) at most `maxBytes` of `property` on our window.
std::optional<Property> readProperty(ReadConnection& connection, Atom property,
                                     std::size_t maxBytes) {
    Property result;
    unsigned long count = 0;
    unsigned long after = 0;
    unsigned char* data = nullptr;
    const long units = static_cast<long>(std::min<std::size_t>(maxBytes / 4 + 1, LONG_MAX / 8));
    if (XGetWindowProperty(connection.display(), connection.window(), property, 0, units, False,
                           AnyPropertyType, &result.type, &result.format, &count, &after,
                           &data) != Success) {
        return std::nullopt;
    }
    if (data) {
        if (result.format == 8) {
            result.bytes.assign(reinterpret_cast<const char*>(data), count);
        } else if (result.format == 32) {
            // Xlib hands 32-bit items over as longs.
            const auto* items = reinterpret_cast<const unsigned long*>(data);
            for (unsigned long i = 0; i < count; ++i) {
                const auto value = static_cast<std::uint32_t>(items[i]);
                result.bytes.append(reinterpret_cast<const char*>(&value), 4);
            }
        }
        XFree(data);
    }
    result.complete = after == 0 && result.bytes.size() <= maxBytes;
    return result;
}

enum class Transfer { done, refused, tooLarge, timedOut };

/// Asks the owner of `selection` for `target` into `property` and reads the answer, plain or
/// incremental, into `bytes`, keeping to `maxBytes` and `deadline`.
Transfer transfer(ReadConnection& connection, Atom selection, Atom target, Atom property,
                  std::size_t maxBytes, SteadyClock::time_point deadline, std::string& bytes) {
    Display* display = connection.display();
    if (!display) {
        return Transfer::timedOut;
    }
    const Window window = connection.window();
    XConvertSelection(display, selection, target, property, window, CurrentTime);
    XFlush(display);
    XEvent event;
    const bool answered = connection.waitFor(
        deadline,
        [&](const XEvent& candidate) {
            return candidate.type == SelectionNotify && candidate.xselection.requestor == window &&
                   candidate.xselection.selection == selection &&
                   candidate.xselection.target == target;
        },
        event);
    if (!answered) {
        return Transfer::timedOut;
    }
    if (event.xselection.property == None) {
        return Transfer::refused;
    }
    const auto first = readProperty(connection, property, maxBytes);
    if (!first) {
        return Transfer::refused;
    }
    const Atom incremental = connection.atom("INCR");
    if (first->type != incremental) {
        XDeleteProperty(display, window, property);
        if (!first->complete) {
            return Transfer::tooLarge;
        }
        bytes = first->bytes;
        return Transfer::done;
    }
    // An incremental transfer announces a lower bound of its size: one already above the cap
    // is never started (it starts when we delete the property).
    std::uint32_t announced = 0;
    if (first->bytes.size() >= 4) {
        std::memcpy(&announced, first->bytes.data(), 4);
    }
    if (announced > maxBytes) {
        return Transfer::tooLarge;
    }
    XDeleteProperty(display, window, property);
    XFlush(display);
    bytes.clear();
    for (;;) {
        const bool arrived = connection.waitFor(
            deadline,
            [&](const XEvent& candidate) {
                return candidate.type == PropertyNotify && candidate.xproperty.window == window &&
                       candidate.xproperty.atom == property &&
                       candidate.xproperty.state == PropertyNewValue;
            },
            event);
        if (!arrived) {
            return Transfer::timedOut;
        }
        const auto chunk = readProperty(connection, property, maxBytes - bytes.size());
        if (!chunk) {
            return Transfer::refused;
        }
        if (chunk->type == None) {
            continue;  // a stale notice: the piece it announced was already taken
        }
        if (!chunk->complete) {
            // Not deleting the property stops the owner: no more of it is sent.
            return Transfer::tooLarge;
        }
        XDeleteProperty(display, window, property);
        XFlush(display);
        if (chunk->bytes.empty()) {
            return Transfer::done;
        }
        bytes += chunk->bytes;
    }
}

/// What the owner offers, or nullopt when it did not say in time.
std::optional<std::vector<std::string>> offeredTargets(ReadConnection& connection, Atom selection,
                                                       SteadyClock::time_point deadline) {
    std::string bytes;
    const Atom property = connection.atom("WORDLOOM_TARGETS");
    const auto result = transfer(connection, selection, connection.atom("TARGETS"), property,
                                 64 * 1024, deadline, bytes);
    if (result == Transfer::timedOut) {
        return std::nullopt;
    }
    std::vector<std::string> names;
    for (std::size_t offset = 0; offset + 4 <= bytes.size(); offset += 4) {
        std::uint32_t atom = 0;
        std::memcpy(&atom, bytes.data() + offset, 4);
        if (atom == 0) {
            continue;
        }
        if (char* name = XGetAtomName(connection.display(), atom)) {
            names.emplace_back(name);
            XFree(name);
        }
    }
    return names;
}

using TargetChooser = std::function<std::vector<SelectionTarget>(const std::vector<std::string>&)>;

X11SelectionReader::Result readSelection(const std::string& selectionName,
                                         X11SelectionReader::Limits limits, unsigned long ownWindow,
                                         const TargetChooser& choose) {
    X11SelectionReader::Result result;
    const auto deadline = SteadyClock::now() + limits.deadline;
    ReadConnection connection;
    if (!connection.display()) {
        logger().error("Cannot reach the X display to read the clipboard");
        return result;
    }
    const Atom selection = connection.atom(selectionName.c_str());
    const Window owner = XGetSelectionOwner(connection.display(), selection);
    if (owner == 0) {
        result.contents = PasteboardSnapshot{};
        return result;
    }
    if (owner == ownWindow) {
        result.ours = true;
        return result;
    }
    const auto offered = offeredTargets(connection, selection, deadline);
    if (!offered) {
        logger().error("The clipboard's owner did not answer; its contents cannot be saved");
        return result;
    }
    PasteboardSnapshot snapshot;
    std::size_t kept = 0;
    int index = 0;
    for (const auto& wanted : choose(*offered)) {
        // A property of its own per format: an abandoned transfer may still write to the last.
        const std::string propertyName = "WORDLOOM_SELECTION_" + std::to_string(index++);
        std::string bytes;
        const auto outcome =
            transfer(connection, selection, connection.atom(wanted.target.c_str()),
                     connection.atom(propertyName.c_str()), limits.byteCap - kept, deadline, bytes);
        if (outcome == Transfer::timedOut) {
            logger().error("The clipboard's owner stopped answering; kept " +
                           std::to_string(snapshot.size()) + " of its formats");
            break;
        }
        if (outcome == Transfer::tooLarge) {
            logger().info("Not saving the clipboard's " + wanted.type + ": larger than " +
                          std::to_string(limits.byteCap - kept) + " bytes");
            continue;
        }
        if (outcome == Transfer::done) {
            kept += bytes.size();
            snapshot.push_back({wanted.type, std::move(bytes)});
        }
    }
    if (snapshot.empty() && SteadyClock::now() >= deadline) {
        return result;  // it answered, then gave nothing: as unreadable as no answer
    }
    result.contents = std::move(snapshot);
    return result;
}

}  // namespace

std::vector<SelectionTarget> targetsWorthRestoring(const std::vector<std::string>& offered) {
    std::vector<SelectionTarget> text;
    std::vector<SelectionTarget> other;
    std::optional<SelectionTarget> image;
    bool mimePlainText = false;
    for (const auto& name : offered) {
        if (name.find('/') == std::string::npos) {
            continue;
        }
        if (std::any_of(text.begin(), text.end(), [&](const auto& t) { return t.type == name; }) ||
            std::any_of(other.begin(), other.end(),
                        [&](const auto& t) { return t.type == name; })) {
            continue;
        }
        if (isImage(name)) {
            if (!image || (name == pasteboardType::png && image->type != pasteboardType::png)) {
                image = SelectionTarget{name, name};
            }
        } else if (isText(name)) {
            mimePlainText = mimePlainText || name.rfind("text/plain", 0) == 0;
            text.push_back({name, name});
        } else {
            other.push_back({name, name});
        }
    }
    if (!mimePlainText) {
        if (std::find(offered.begin(), offered.end(), "UTF8_STRING") != offered.end()) {
            text.insert(text.begin(), {"UTF8_STRING", pasteboardType::plainTextUtf8});
        } else if (std::find(offered.begin(), offered.end(), "STRING") != offered.end()) {
            text.insert(text.begin(), {"STRING", pasteboardType::plainText});
        }
    }
    text.insert(text.end(), other.begin(), other.end());
    if (image) {
        text.push_back(*image);
    }
    return text;
}

std::optional<SelectionTarget> plainTextTarget(const std::vector<std::string>& offered) {
    for (const char* name :
         {pasteboardType::plainTextUtf8, "UTF8_STRING", pasteboardType::plainText, "STRING"}) {
        if (std::find(offered.begin(), offered.end(), name) != offered.end()) {
            return SelectionTarget{name, pasteboardType::plainTextUtf8};
        }
    }
    return std::nullopt;
}

X11SelectionReader::Result X11SelectionReader::snapshot(const std::string& selection, Limits limits,
                                                        unsigned long ownWindow) {
    return readSelection(selection, limits, ownWindow, targetsWorthRestoring);
}

X11SelectionReader::Result X11SelectionReader::plainText(const std::string& selection,
                                                         Limits limits, unsigned long ownWindow) {
    return readSelection(selection, limits, ownWindow, [](const std::vector<std::string>& offered) {
        std::vector<SelectionTarget> targets;
        if (auto target = plainTextTarget(offered)) {
            targets.push_back(*target);
        }
        return targets;
    });
}

}  // namespace wordloom
