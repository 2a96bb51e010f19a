#include "platform/x11/AlsaSoundPlayer.h"

#include <alsa/asoundlib.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include "core/base/FileIO.h"
#include "core/base/Log.h"

namespace wordloom {

namespace {

struct Pcm16 {
    unsigned channels = 0;
    unsigned rate = 0;
    std::vector<std::int16_t> samples;
};

// Reads a canonical 16-bit PCM WAV file.
std::optional<Pcm16> readWav(const std::string& bytes) {
    if (bytes.size() < 44 || bytes.compare(0, 4, "RIFF") != 0 || bytes.compare(8, 4, "WAVE") != 0) {
        return std::nullopt;
    }
    Pcm16 sound;
    std::size_t offset = 12;
    while (offset + 8 <= bytes.size()) {
        std::uint32_t size = 0;
        std::memcpy(&size, bytes.data() + offset + 4, 4);
        const std::string id = bytes.substr(offset, 4);
        const std::size_t body = offset + 8;
        if (body + size > bytes.size()) {
            return std::nullopt;
        }
        if (id == "fmt " && size >= 16) {
            std::uint16_t format = 0, channels = 0, bits = 0;
            std::uint32_t rate = 0;
            std::memcpy(&format, bytes.data() + body, 2);
            std::memcpy(&channels, bytes.data() + body + 2, 2);
            std::memcpy(&rate, bytes.data() + body + 4, 4);
            std::memcpy(&bits, bytes.data() + body + 14, 2);
            if (format != 1 || bits != 16 || channels == 0) {
                return std::nullopt;
            }
            sound.channels = channels;
            sound.rate = rate;
        } else if (id == "data") {
            sound.samples.resize(size / 2);
            std::memcpy(sound.samples.data(), bytes.data() + body, sound.samples.size() * 2);
        }
        offset = body + size + (size & 1);
    }
    if (sound.channels == 0 || sound.samples.empty()) {
        return std::nullopt;
    }
    return sound;
}

// How long past a sound's length its end is waited for.
constexpr auto drainMargin = std::chrono::milliseconds(500);

// ALSA prints to stderr when there is no card; that is an expected state here.
void quietAlsa(const char*, int, const char*, int, const char*, ...) {}

/// Plays `sound` without ever blocking in ALSA: writes as the device takes them and waits for
/// the buffer to empty, for at most the sound's length and a margin, and stops early when
/// asked (quitting). A device that stalls costs that long, never a hung thread.
void playBounded(snd_pcm_t* pcm, const Pcm16& sound, const std::stop_token& stop) {
    if (snd_pcm_set_params(pcm, SND_PCM_FORMAT_S16_LE, SND_PCM_ACCESS_RW_INTERLEAVED,
                           sound.channels, sound.rate, 1, 200000) != 0) {
        return;
    }
    const auto frames = static_cast<snd_pcm_uframes_t>(sound.samples.size() / sound.channels);
    const auto length = std::chrono::microseconds(static_cast<std::int64_t>(frames) * 1000000 /
                                                  std::max(1u, sound.rate));
    const auto deadline = std::chrono::steady_clock::now() + length + drainMargin;
    snd_pcm_uframes_t written = 0;
    while (written < frames && !stop.stop_requested() &&
           std::chrono::steady_clock::now() < deadline) {
        const auto result =
            snd_pcm_writei(pcm, sound.samples.data() + written * sound.channels, frames - written);
        if (result == -EAGAIN) {
            snd_pcm_wait(pcm, 20);
        } else if (result < 0) {
            if (snd_pcm_recover(pcm, static_cast<int>(result), 1) < 0) {
                return;
            }
        } else {
            written += static_cast<snd_pcm_uframes_t>(result);
        }
    }
    while (!stop.stop_requested() && std::chrono::steady_clock::now() < deadline &&
           snd_pcm_state(pcm) == SND_PCM_STATE_RUNNING) {
        snd_pcm_sframes_t delay = 0;
        if (snd_pcm_delay(pcm, &delay) < 0 || delay <= 0) {
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    snd_pcm_drop(pcm);
}

}  // namespace

AlsaSoundPlayer::AlsaSoundPlayer(std::filesystem::path soundsFolder, std::string device)
    : folder_(std::move(soundsFolder)), device_(std::move(device)) {
    // The handler is process-wide: set once, here, before any sound thread exists.
    snd_lib_error_set_handler(quietAlsa);
}

AlsaSoundPlayer::~AlsaSoundPlayer() {
    stopAndJoin(std::chrono::milliseconds(500));
}

bool AlsaSoundPlayer::stopAndJoin(std::chrono::milliseconds limit) {
    return player_.stopAndJoin(limit);
}

std::filesystem::path AlsaSoundPlayer::defaultSoundsFolder() {
    if (const char* folder = std::getenv("WORDLOOM_SOUNDS_DIR")) {
        return folder;
    }
    std::error_code error;
    const auto executable = std::filesystem::read_symlink("/proc/self/exe", error);
    if (!error) {
        const auto installed = executable.parent_path().parent_path() / "share/wordloom/sounds";
        if (std::filesystem::exists(installed, error)) {
            return installed;
        }
    }
    return std::filesystem::path(WORDLOOM_SOURCE_ASSETS) / "sounds";
}

void AlsaSoundPlayer::play(const std::string& soundName) {
    // One sound at a time: a sound that starts while another plays is skipped.
    player_.start([path = folder_ / (soundName + ".wav"), device = device_,
                   logged = deviceMissingLogged_](std::stop_token stop) {
        const Logger logger("SoundPlayer");
        const auto bytes = readFileIfExists(path);
        const auto sound = bytes ? readWav(*bytes) : std::nullopt;
        if (!sound) {
            logger.error("Cannot read the sound " + path.string());
            return;
        }
        snd_pcm_t* pcm = nullptr;
        if (snd_pcm_open(&pcm, device.c_str(), SND_PCM_STREAM_PLAYBACK, SND_PCM_NONBLOCK) < 0) {
            if (!logged->exchange(true)) {
                logger.info("No sound device; expansion sounds are not played");
            }
            return;
        }
        playBounded(pcm, *sound, stop);
        snd_pcm_close(pcm);
    });
}

}  // namespace wordloom
