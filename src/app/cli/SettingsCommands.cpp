#include "app/cli/SettingsCommands.h"

#include <ostream>
#include <stdexcept>

#include "app/cli/CommandErrors.h"
#include "app/cli/LibraryCommandSupport.h"
#include "core/base/JsonWriter.h"

namespace wordloom::cli {
namespace {

using Kind = OptionSpec::Kind;

std::string allowedKeys() {
    std::string keys;
    for (const auto name : EnumNames<SettingField>::names) {
        keys += (keys.empty() ? "" : ", ") + std::string(name);
    }
    return keys;
}

int setSetting(CommandInvocation& invocation, const ParsedArguments& arguments) {
    expectPositionals(arguments, 3);
    const auto& key = arguments.positionals()[1];
    const auto& value = arguments.positionals()[2];
    const auto field = enumFromRaw<SettingField>(key);
    if (!field) {
        throw CommandError("Unknown setting \u201c" + key + "\u201d. Allowed: " + allowedKeys() +
                           ".");
    }
    AppSettings updated;
    auto session = openLibrary(invocation, arguments);
    updated = session->settings().settings();
    try {
        setSettingFromText(updated, *field, value);
    } catch (const std::invalid_argument& error) {
        throw CommandError(error.what());
    }
    session->settings().update([&](AppSettings& settings) { settings = updated; });
    session->save();
    invocation.out() << key << " = " << settingValueText(session->settings().settings(), *field)
                     << "\n";
    return 0;
}

int settingsCommand(CommandInvocation& invocation) {
    const auto arguments = invocation.parse({{"json", Kind::flag}});
    const auto& positionals = arguments.positionals();
    if (!positionals.empty() && positionals[0] == "set") {
        if (arguments.has("json")) {
            throw UsageError("--json is for showing the settings");
        }
        return setSetting(invocation, arguments);
    }
    expectPositionals(arguments, 0);
    auto session = openLibrary(invocation, arguments);
    const auto& settings = session->settings().settings();
    if (arguments.has("json")) {
        JsonWriter w;
        encodeAppSettings(w, settings);
        invocation.out() << w.take() << "\n";
        return 0;
    }
    for (std::size_t i = 0; i < kSettingFieldCount; ++i) {
        const auto field = static_cast<SettingField>(i);
        const auto name = rawValue(field);
        invocation.out() << name << std::string(26 - name.size(), ' ')
                         << settingValueText(settings, field) << "\n";
    }
    return 0;
}

}  // namespace

void registerSettingsCommands(CommandRegistry& registry) {
    registry.add({"settings", "wordloom settings [--json] | wordloom settings set KEY VALUE",
                  "Show the preferences, or change one.", settingsCommand});
}

}  // namespace wordloom::cli
