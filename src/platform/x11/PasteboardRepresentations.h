#pragma once

#include <vector>

#include "core/expansion/Pasteboard.h"

namespace wordloom {

/// Completes what Wordloom puts on an X11 selection with the representations applications
/// here look for: text/html right after the RTF (few programs read RTF), and image/png ahead of
/// any other image type (the one image type every program reads). An image is offered under the
/// type of the format its bytes are in, whatever type it came with; the other items keep their
/// order.
///
/// Throws PasteboardFormatError when an image does not decode. Uses Qt's image readers, so
/// works without a display.
std::vector<PasteboardItem> withX11Representations(std::vector<PasteboardItem> items);

}  // namespace wordloom
