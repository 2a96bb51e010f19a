#pragma once

#include <atomic>
#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include "core/expansion/DesktopServices.h"

namespace wordloom {

/// Plays the sounds shipped in assets/sounds ("Tink.wav", ...) through ALSA on a thread of its
/// own, so the caller never waits. No sound device, or one that is busy, is logged once and
/// otherwise ignored; a sound that starts while another plays is skipped.
class AlsaSoundPlayer final : public SoundPlayer {
  public:
    /// `soundsFolder`: where the .wav files are; by default $WORDLOOM_SOUNDS_DIR, else the
    /// folder next to the executable's share/, else the source tree's assets.
    explicit AlsaSoundPlayer(std::filesystem::path soundsFolder = defaultSoundsFolder());
    void play(const std::string& soundName) override;

    static std::filesystem::path defaultSoundsFolder();

  private:
    std::filesystem::path folder_;
    std::shared_ptr<std::atomic<bool>> playing_ = std::make_shared<std::atomic<bool>>(false);
    std::shared_ptr<std::atomic<bool>> deviceMissingLogged_ =
        std::make_shared<std::atomic<bool>>(false);
};

}  // namespace wordloom
