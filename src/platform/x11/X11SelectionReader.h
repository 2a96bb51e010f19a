#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "core/expansion/Pasteboard.h"

namespace wordloom {

/// One format to read from a selection: the X target to ask for, and the MIME type it is kept
/// and offered again under.
struct SelectionTarget {
    std::string target;
    std::string type;
    bool operator==(const SelectionTarget&) const = default;
};

/// Of the targets a selection's owner offers, those worth saving to put back later, text first
/// and images last: every MIME type once, but one image form only (PNG when offered), since
/// owners convert an image to every other image type on request. X's own names (TARGETS,
/// TIMESTAMP, STRING, ...) are left out, except that UTF8_STRING or STRING stand in for plain
/// text when no MIME plain text is offered.
std::vector<SelectionTarget> targetsWorthRestoring(const std::vector<std::string>& offered);

/// The plain-text target to read for the text alone, if any is offered.
std::optional<SelectionTarget> plainTextTarget(const std::vector<std::string>& offered);

/// Reads another program's selection on a connection of its own, so it may run on any thread
/// and never waits on the main queue. Every read has a deadline and a byte cap of ours.
class X11SelectionReader {
  public:
    struct Limits {
        /// The whole read (targets and every format) ends by then; formats read in full
        /// by then are kept.
        std::chrono::milliseconds deadline{400};
        /// Bytes kept in all; a format that would pass the cap is left out, and one announced
        /// larger than what is left is not transferred at all.
        std::size_t byteCap = 16u * 1024 * 1024;
    };

    /// What a read found.
    struct Result {
        /// nullopt when the owner did not answer the targets request by the deadline; empty
        /// when nobody owns the selection.
        std::optional<PasteboardSnapshot> contents;
        /// The owner is `ownWindow`: nothing was asked of it (we know our own contents, and
        /// asking our own main thread could wait on this very caller).
        bool ours = false;
    };

    /// `selection`: "CLIPBOARD" or "PRIMARY".
    static Result snapshot(const std::string& selection, Limits limits, unsigned long ownWindow);
    /// Like snapshot(), for the plain text alone.
    static Result plainText(const std::string& selection, Limits limits, unsigned long ownWindow);
};

}  // namespace wordloom
