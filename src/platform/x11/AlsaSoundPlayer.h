#pragma once

#include <atomic>
#include <chrono>
#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include "core/base/OwnedThreads.h"
#include "core/expansion/DesktopServices.h"

namespace wordloom {

/// Plays the sounds shipped in assets/sounds ("Tink.wav", ...) through ALSA on a thread of its
/// own, so the caller never waits. No sound device, or one that is busy, is logged once and
/// otherwise ignored; a sound that starts while another plays is skipped. A sound's thread
/// ends at most half a second after the sound's length, and is joined by stopAndJoin() or the
/// destructor.
class AlsaSoundPlayer final : public SoundPlayer {
  public:
    /// `soundsFolder`: where the .wav files are; by default $WORDLOOM_SOUNDS_DIR, else the
    /// folder next to the executable's share/, else the source tree's assets. `device`: the
    /// ALSA device to play on.
    explicit AlsaSoundPlayer(std::filesystem::path soundsFolder = defaultSoundsFolder(),
                             std::string device = "default");
    /// Stops the sound playing and joins its thread.
    ~AlsaSoundPlayer() override;
    AlsaSoundPlayer(const AlsaSoundPlayer&) = delete;
    AlsaSoundPlayer& operator=(const AlsaSoundPlayer&) = delete;

    void play(const std::string& soundName) override;

    /// Stops the sound playing and waits up to `limit` for its thread; true when it ended.
    /// Sounds asked for afterwards are not played.
    bool stopAndJoin(std::chrono::milliseconds limit);

    /// True while a sound's thread runs.
    bool isPlaying() const { return player_.running() > 0; }

    static std::filesystem::path defaultSoundsFolder();

  private:
    std::filesystem::path folder_;
    std::string device_;
    std::shared_ptr<std::atomic<bool>> deviceMissingLogged_ =
        std::make_shared<std::atomic<bool>>(false);
    OwnedThreads player_{1};
};

}  // namespace wordloom
