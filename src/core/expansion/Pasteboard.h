#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/base/Executor.h"

namespace wordloom {

/// The system-wide selections text is pasted from. Terminals paste the primary selection.
enum class PasteboardSelection { clipboard, primary };

/// One representation of the pasteboard's contents: a MIME type and its bytes.
struct PasteboardItem {
    std::string type;
    std::string data;
    bool operator==(const PasteboardItem&) const = default;
};

/// Everything a selection offered, in the order it offered it.
using PasteboardSnapshot = std::vector<PasteboardItem>;

namespace pasteboardType {
inline constexpr const char* plainText = "text/plain";
inline constexpr const char* plainTextUtf8 = "text/plain;charset=utf-8";
inline constexpr const char* html = "text/html";
inline constexpr const char* rtf = "text/rtf";
inline constexpr const char* png = "image/png";
}  // namespace pasteboardType

/// A representation that cannot be offered, with the reason for the user (an image that does
/// not decode).
class PasteboardFormatError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The system pasteboard. Every member runs on the main queue except snapshot(), plainText()
/// and waitUntilRead(), which may be called from any thread: reading another program's
/// contents waits on that program, which the main queue must never do.
class Pasteboard {
  public:
    virtual ~Pasteboard() = default;

    /// Grows by one whenever anyone (us included) puts new contents on `selection`.
    virtual std::uint64_t changeCount(PasteboardSelection selection) = 0;

    /// The representations worth restoring that `selection` offers now; empty when nobody owns
    /// it, nullopt when the owner did not answer in time (its contents cannot be saved). Any
    /// thread; bounded in time and bytes by the platform.
    virtual std::optional<PasteboardSnapshot> snapshot(PasteboardSelection selection) = 0;

    /// Replaces the contents of `selection` with `items` (none: leaves it empty) and returns
    /// the change count right after the write.
    virtual std::uint64_t write(PasteboardSelection selection,
                                const std::vector<PasteboardItem>& items) = 0;

    /// What to write for `items`: `items` and the representations this platform's applications
    /// look for besides (HTML next to RTF, PNG for any image). Throws PasteboardFormatError when
    /// an item cannot be converted; nothing is written then.
    virtual std::vector<PasteboardItem> withPlatformRepresentations(
        std::vector<PasteboardItem> items) {
        return items;
    }

    /// The clipboard's plain text, or nullopt. Any thread; bounded like snapshot().
    virtual std::optional<std::string> plainText() = 0;

    /// Blocks the calling (background) thread until the application we pasted into has read our
    /// contents and `quiet` passed without another read, or `limit` passed. A platform where a
    /// paste reads the pasteboard synchronously returns at once.
    virtual void waitUntilRead(Duration quiet, Duration limit) = 0;
};

}  // namespace wordloom
