#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace wordloom::jsrunner {

/// The helper's end of the framed channel to the application. Blocking: the helper has nothing
/// else to do while it waits.
class HelperChannel {
  public:
    explicit HelperChannel(int descriptor) : descriptor_(descriptor) {}

    /// The next frame's payload; nothing once the application has closed its end or sent a frame
    /// that breaks the framing.
    std::optional<std::string> receive();

    /// Writes one frame; false when the application is gone.
    bool send(std::string_view payload);

    int descriptor() const { return descriptor_; }

  private:
    bool readFully(char* buffer, std::size_t size);
    bool writeFully(const char* buffer, std::size_t size);

    int descriptor_;
};

}  // namespace wordloom::jsrunner
