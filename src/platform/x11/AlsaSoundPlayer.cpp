#include "platform/x11/AlsaSoundPlayer.h"

#include <alsa/asoundlib.h>

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

// ALSA prints to stderr when there is no card; that is an expected state here.
void quietAlsa(const char*, int, const char*, int, const char*, ...) {}

}  // namespace

AlsaSoundPlayer::AlsaSoundPlayer(std::filesystem::path soundsFolder)
    : folder_(std::move(soundsFolder)) {}

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
    if (playing_->exchange(true)) {
        return;
    }
    std::thread([path = folder_ / (soundName + ".wav"), playing = playing_,
                 logged = deviceMissingLogged_] {
        const Logger logger("SoundPlayer");
        const auto bytes = readFileIfExists(path);
        const auto sound = bytes ? readWav(*bytes) : std::nullopt;
        snd_pcm_t* pcm = nullptr;
        snd_lib_error_set_handler(quietAlsa);
        if (!sound) {
            logger.error("Cannot read the sound " + path.string());
        } else if (snd_pcm_open(&pcm, "default", SND_PCM_STREAM_PLAYBACK, SND_PCM_NONBLOCK) < 0) {
            if (!logged->exchange(true)) {
                logger.info("No sound device; expansion sounds are not played");
            }
        } else {
            snd_pcm_nonblock(pcm, 0);
            if (snd_pcm_set_params(pcm, SND_PCM_FORMAT_S16_LE, SND_PCM_ACCESS_RW_INTERLEAVED,
                                   sound->channels, sound->rate, 1, 200000) == 0) {
                const auto frames = sound->samples.size() / sound->channels;
                if (snd_pcm_writei(pcm, sound->samples.data(), frames) >= 0) {
                    snd_pcm_drain(pcm);
                }
            }
            snd_pcm_close(pcm);
        }
        playing->store(false);
    }).detach();
}

}  // namespace wordloom
