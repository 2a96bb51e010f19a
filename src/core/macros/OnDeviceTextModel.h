#pragma once

#include <optional>
#include <stop_token>
#include <string>

namespace wordloom {

/// A language model that runs inside the operating system. This platform has none; the
/// interface is where one plugs in, and tests use it to drive the time limit.
class OnDeviceTextModel {
  public:
    virtual ~OnDeviceTextModel() = default;

    /// Why the model cannot answer now, or nothing when it can.
    virtual std::optional<std::string> unavailabilityReason() const = 0;

    /// Answers `prompt` following `instructions`. May block; should stop early when `stop` is
    /// requested. Throws on failure.
    virtual std::string respond(const std::string& instructions, const std::string& prompt,
                                std::stop_token stop) = 0;
};

}  // namespace wordloom
