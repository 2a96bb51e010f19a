#include "core/sync/SyncOutboxJournal.h"

#include "core/base/FileIO.h"
#include "core/base/Log.h"
#include "core/base/Uuid.h"

namespace wordloom {
namespace {

const Logger& logger() {
    static const Logger instance("iCloudSyncService.outbox");
    return instance;
}

}  // namespace

SyncOutboxJournal::SyncOutboxJournal(std::filesystem::path url, UserDefaults& defaults)
    : url_(std::move(url)), defaults_(defaults) {}

SyncOutboxJournal::Loaded SyncOutboxJournal::load() {
    Loaded loaded;
    if (defaults_.boolForKey(fallbackPreferredKey)) {
        if (const auto fallback = defaults_.jsonForKey(fallbackKey)) {
            try {
                loaded.state = decodeSyncOutboxState(*fallback);
                return loaded;
            } catch (const std::exception& error) {
                logger().error(std::string("[iCloudSync] Failed to load durable outbox: ") +
                               error.what());
            }
        }
    }
    std::optional<std::string> text;
    try {
        text = readFileIfExists(url_);
    } catch (const std::exception& error) {
        // Unreadable for now (permissions, I/O): keep the file, start from what we can rebuild.
        logger().error(std::string("[iCloudSync] Failed to load durable outbox: ") + error.what());
        loaded.requiresFullReconciliation = true;
        return loaded;
    }
    if (!text) {
        return loaded;
    }
    try {
        loaded.state = decodeSyncOutboxState(*text);
        return loaded;
    } catch (const std::exception& error) {
        logger().error(std::string("[iCloudSync] Failed to load durable outbox: ") + error.what());
    }
    loaded.requiresFullReconciliation = true;
    const auto preserved =
        url_.parent_path() / ("icloud-sync-outbox-corrupt-" + Uuid::random().toString() + ".json");
    std::error_code failure;
    std::filesystem::rename(url_, preserved, failure);
    const auto where = failure ? std::string("an unavailable recovery path") : preserved.string();
    loaded.message = "The iCloud change journal was corrupt and was preserved at " + where +
                     ". Wordloom will rebuild pending uploads.";
    return loaded;
}

std::optional<std::string> SyncOutboxJournal::save(const SyncOutboxState& state) {
    try {
        writeFileAtomically(url_, encodeSyncOutboxState(state));
    } catch (const std::exception& error) {
        const std::string reason = error.what();
        logger().error("[iCloudSync] Failed to persist durable outbox: " + reason);
        defaults_.setJson(fallbackKey, encodeSyncOutboxState(state, false));
        defaults_.setBool(fallbackPreferredKey, true);
        return "iCloud changes are queued in the recovery journal because the primary journal "
               "could not be saved: " +
               reason;
    }
    if (defaults_.boolForKey(fallbackPreferredKey)) {
        defaults_.removeValue(fallbackPreferredKey);
        defaults_.removeValue(fallbackKey);
    }
    return std::nullopt;
}

}  // namespace wordloom
