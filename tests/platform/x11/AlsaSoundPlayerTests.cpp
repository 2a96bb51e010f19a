#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <fstream>
#include <string>

#include "platform/x11/AlsaSoundPlayer.h"
#include "support/TemporaryDirectory.h"

namespace wordloom {
namespace {

/// A canonical 16-bit mono WAV file of `seconds` of silence.
void writeSilence(const std::filesystem::path& path, std::uint32_t seconds) {
    const std::uint32_t rate = 8000;
    const std::uint32_t dataBytes = rate * seconds * 2;
    std::ofstream out(path, std::ios::binary);
    const auto put32 = [&](std::uint32_t value) { out.write(reinterpret_cast<char*>(&value), 4); };
    const auto put16 = [&](std::uint16_t value) { out.write(reinterpret_cast<char*>(&value), 2); };
    out.write("RIFF", 4);
    put32(36 + dataBytes);
    out.write("WAVEfmt ", 8);
    put32(16);
    put16(1);  // PCM
    put16(1);  // mono
    put32(rate);
    put32(rate * 2);
    put16(2);
    put16(16);
    out.write("data", 4);
    put32(dataBytes);
    out << std::string(dataBytes, '\0');
}

TEST(AlsaSoundPlayerTests, ALongSoundsThreadIsStoppedAndJoinedAndNothingPlaysAfter) {
    test::TemporaryDirectory folder;
    writeSilence(folder / "Long.wav", 30);
    // ALSA's null device takes the samples without a sound card.
    AlsaSoundPlayer player(folder.path(), "null");
    player.play("Long");
    EXPECT_TRUE(player.stopAndJoin(std::chrono::seconds(5)));
    EXPECT_FALSE(player.isPlaying());
    player.play("Long");  // quitting: refused
    EXPECT_FALSE(player.isPlaying());
}

TEST(AlsaSoundPlayerTests, AMissingSoundOrDeviceEndsItsThreadAtOnce) {
    test::TemporaryDirectory folder;
    writeSilence(folder / "Short.wav", 1);
    AlsaSoundPlayer missingSound(folder.path(), "null");
    missingSound.play("Absent");
    AlsaSoundPlayer missingDevice(folder.path(), "no-such-device");
    missingDevice.play("Short");
    EXPECT_TRUE(missingSound.stopAndJoin(std::chrono::seconds(5)));
    EXPECT_TRUE(missingDevice.stopAndJoin(std::chrono::seconds(5)));
}

}  // namespace
}  // namespace wordloom
