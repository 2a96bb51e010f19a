#include <gtest/gtest.h>
#include <poll.h>

#include <chrono>
#include <functional>

#include "platform/x11/XkbKeyTranslator.h"
#include "platform/x11server/PrivateXServer.h"

namespace wordloom {
namespace {

// evdev key codes, the same on every layout: a layout only changes what they type.
namespace key {
constexpr std::uint8_t two = 11, equal = 21, q = 24, e = 26, y = 29, bracketLeft = 34,
                       returnKey = 36, controlLeft = 37, a = 38, apostrophe = 48, grave = 49,
                       shiftLeft = 50, z = 52, keypadEnter = 104, altRight = 108;
}

void setLayout(const std::string& layout, const std::string& options = "") {
    std::vector<std::string> command = {"setxkbmap", "-layout", layout, "-option", ""};
    if (!options.empty()) {
        command.insert(command.end(), {"-option", options});
    }
    ASSERT_EQ(test::PrivateXServer::run(command), 0) << "setxkbmap " << layout;
}

std::unique_ptr<XkbKeyTranslator> translatorFor(const std::string& layout,
                                                const std::string& options = "") {
    setLayout(layout, options);
    auto translator = XkbKeyTranslator::create();
    EXPECT_TRUE(translator);
    return translator;
}

/// What `keycode` types when pressed and released, with `held` down around it.
std::string typed(XkbKeyTranslator& translator, std::uint8_t keycode,
                  std::vector<std::uint8_t> held = {}) {
    for (const auto modifier : held) {
        translator.press(modifier);
    }
    const auto result = translator.press(keycode);
    translator.release(keycode);
    for (const auto modifier : held) {
        translator.release(modifier);
    }
    return result.text;
}

/// Lets the translator read the server's keymap events until `done` holds (at most 5 s).
bool processEventsUntil(XkbKeyTranslator& translator, const std::function<bool()>& done) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (std::chrono::steady_clock::now() < deadline) {
        pollfd readable{translator.fileDescriptor(), POLLIN, 0};
        poll(&readable, 1, 50);
        translator.processEvents();
        if (done()) {
            return true;
        }
    }
    return false;
}

TEST(XkbKeyTranslatorTests, UsLayoutWithShiftControlAndSpecialKeys) {
    auto translator = translatorFor("us");
    ASSERT_TRUE(translator);
    EXPECT_EQ(typed(*translator, key::a), "a");
    EXPECT_EQ(typed(*translator, key::a, {key::shiftLeft}), "A");
    EXPECT_EQ(typed(*translator, key::two, {key::shiftLeft}), "@");

    translator->press(key::controlLeft);
    const auto control = translator->press(key::a);
    EXPECT_TRUE(control.modified);
    EXPECT_EQ(control.text, "");
    translator->release(key::a);
    translator->release(key::controlLeft);
    EXPECT_FALSE(translator->press(key::a).modified);
    translator->release(key::a);

    for (const auto code : {key::returnKey, key::keypadEnter}) {
        const auto pressed = translator->press(code);
        translator->release(code);
        EXPECT_EQ(pressed.special, SpecialKey::returnKey);
        EXPECT_EQ(pressed.text, "");
    }
}

TEST(XkbKeyTranslatorTests, GermanLayoutWithAltGrAndDeadKeys) {
    auto translator = translatorFor("de");
    ASSERT_TRUE(translator);
    EXPECT_EQ(typed(*translator, key::y), "z");
    EXPECT_EQ(typed(*translator, key::z), "y");
    EXPECT_EQ(typed(*translator, key::bracketLeft), "\xC3\xBC");  // ü
    EXPECT_EQ(typed(*translator, key::two, {key::shiftLeft}), "\"");
    EXPECT_EQ(typed(*translator, key::q, {key::altRight}), "@");             // AltGr is no shortcut
    EXPECT_EQ(typed(*translator, key::e, {key::altRight}), "\xE2\x82\xAC");  // €

    // A dead key types nothing until the next key completes it.
    EXPECT_EQ(typed(*translator, key::equal), "");
    EXPECT_EQ(typed(*translator, key::e), "\xC3\xA9");  // é
    EXPECT_EQ(typed(*translator, key::grave), "");
    EXPECT_EQ(typed(*translator, key::a), "\xC3\xA2");  // â
    EXPECT_EQ(typed(*translator, key::equal, {key::shiftLeft}), "");
    EXPECT_EQ(typed(*translator, key::a, {key::shiftLeft}), "\xC3\x80");  // À
}

TEST(XkbKeyTranslatorTests, FrenchLayoutMovesLettersAndDigits) {
    auto translator = translatorFor("fr");
    ASSERT_TRUE(translator);
    EXPECT_EQ(typed(*translator, key::q), "a");
    EXPECT_EQ(typed(*translator, key::a), "q");
    EXPECT_EQ(typed(*translator, key::two), "\xC3\xA9");  // é
    EXPECT_EQ(typed(*translator, key::two, {key::shiftLeft}), "2");
    EXPECT_EQ(typed(*translator, key::bracketLeft), "");  // dead circumflex
    EXPECT_EQ(typed(*translator, key::e), "\xC3\xAA");    // ê
}

TEST(XkbKeyTranslatorTests, ComposeSequencesTypeTheirResultOnlyAtTheEnd) {
    auto translator = translatorFor("us", "compose:ralt");
    ASSERT_TRUE(translator);
    EXPECT_EQ(typed(*translator, key::altRight), "");
    EXPECT_EQ(typed(*translator, key::apostrophe), "");
    EXPECT_EQ(typed(*translator, key::e), "\xC3\xA9");  // é
    EXPECT_EQ(typed(*translator, key::e), "e");         // and the sequence is over
    // Control in the middle of a sequence abandons it.
    typed(*translator, key::altRight);
    EXPECT_EQ(typed(*translator, key::a, {key::controlLeft}), "");
    EXPECT_EQ(typed(*translator, key::e), "e");
}

TEST(XkbKeyTranslatorTests, KeymapChangesAreFollowedWithoutLosingHeldKeys) {
    auto translator = translatorFor("us");
    ASSERT_TRUE(translator);
    EXPECT_EQ(typed(*translator, key::y), "y");
    translator->press(key::shiftLeft);  // held across the change

    setLayout("de");
    ASSERT_TRUE(processEventsUntil(*translator, [&] {
        const auto text = translator->press(key::y).text;
        translator->release(key::y);
        return text == "Z";
    })) << "the German layout never arrived";
    translator->release(key::shiftLeft);
    EXPECT_EQ(typed(*translator, key::y), "z");
    EXPECT_FALSE(translator->connectionBroken());
}

TEST(XkbKeyTranslatorTests, AutoRepeatedModifierIsReleasedByItsOneRelease) {
    auto translator = translatorFor("us");
    ASSERT_TRUE(translator);
    for (int repeat = 0; repeat < 5; ++repeat) {
        translator->press(key::shiftLeft);
    }
    EXPECT_EQ(typed(*translator, key::a), "A");
    translator->release(key::shiftLeft);
    EXPECT_EQ(typed(*translator, key::a), "a");
    // A held letter repeats its text with every repeated press.
    EXPECT_EQ(translator->press(key::a).text, "a");
    EXPECT_EQ(translator->press(key::a).text, "a");
    translator->release(key::a);
}

}  // namespace
}  // namespace wordloom
