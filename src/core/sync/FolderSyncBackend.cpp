#include "core/sync/FolderSyncBackend.h"

#include <algorithm>
#include <cctype>
#include <system_error>

#include "core/base/FileIO.h"
#include "core/base/Log.h"
#include "core/base/Uuid.h"

namespace wordloom {
namespace {

namespace fs = std::filesystem;

const Logger& logger() {
    static const Logger instance("iCloudSyncService.folder");
    return instance;
}

constexpr std::size_t sequenceDigits = 12;

std::string batchFileName(std::int64_t sequence) {
    auto digits = std::to_string(sequence);
    return std::string(sequenceDigits - std::min(sequenceDigits, digits.size()), '0') + digits +
           ".json";
}

/// The batch number of a file we wrote, or nothing for anything else in the folder.
std::optional<std::int64_t> batchSequence(const std::string& name) {
    if (name.size() != sequenceDigits + 5 || !name.ends_with(".json")) {
        return std::nullopt;
    }
    std::int64_t value = 0;
    for (std::size_t i = 0; i < sequenceDigits; ++i) {
        if (!std::isdigit(static_cast<unsigned char>(name[i]))) {
            return std::nullopt;
        }
        value = value * 10 + (name[i] - '0');
    }
    return value > 0 ? std::optional<std::int64_t>(value) : std::nullopt;
}

bool isDeviceName(const std::string& name) {
    return Uuid::parse(name).has_value();
}

std::map<std::string, std::int64_t> decodeToken(const std::optional<std::string>& token) {
    std::map<std::string, std::int64_t> cursor;
    if (!token || token->empty()) {
        return cursor;
    }
    try {
        JsonDocument document(*token);
        if (const auto object = json::asObject(document.root())) {
            for (auto [device, value] : *object) {
                if (const auto sequence = json::asInt(value)) {
                    cursor.emplace(std::string(device), *sequence);
                }
            }
        }
    } catch (const JsonError&) {
        // A token from another backend: start from the beginning.
    }
    return cursor;
}

std::string encodeToken(const std::map<std::string, std::int64_t>& cursor) {
    JsonWriter w(false);
    w.beginObject();
    for (const auto& [device, sequence] : cursor) {
        w.field(device, sequence);
    }
    w.endObject();
    return w.take();
}

bool isNewer(std::int64_t lamport, const std::string& device, const std::string& headDevice,
             std::int64_t headLamport) {
    return lamport > headLamport || (lamport == headLamport && device > headDevice);
}

}  // namespace

FolderSyncBackend::FolderSyncBackend(fs::path folder, std::string deviceId)
    : folder_(std::move(folder)), deviceId_(std::move(deviceId)) {}

fs::path FolderSyncBackend::root() const {
    return folder_ / subfolderName;
}

void FolderSyncBackend::ensureZone() {
    std::error_code failure;
    if (!fs::is_directory(folder_, failure)) {
        throw SyncBackendError("The sync folder " + folder_.string() + " does not exist.");
    }
    fs::create_directories(root() / deviceId_, failure);
    if (failure) {
        throw SyncBackendError("Couldn't create " + (root() / deviceId_).string() + ": " +
                               failure.message());
    }
}

FolderSyncBackend::Scan FolderSyncBackend::scan(
    const std::map<std::string, std::int64_t>& then) const {
    Scan result;
    std::error_code failure;
    fs::directory_iterator devices(root(), failure);
    if (failure) {
        throw SyncBackendError("Couldn't read the sync folder " + root().string() + ": " +
                               failure.message());
    }
    for (const auto& deviceEntry : devices) {
        const auto device = deviceEntry.path().filename().string();
        if (!isDeviceName(device) || !deviceEntry.is_directory(failure)) {
            continue;
        }
        std::vector<std::int64_t> sequences;
        for (const auto& file : fs::directory_iterator(deviceEntry.path(), failure)) {
            if (const auto sequence = batchSequence(file.path().filename().string())) {
                sequences.push_back(*sequence);
            }
        }
        std::sort(sequences.begin(), sequences.end());
        const auto thenIt = then.find(device);
        const std::int64_t readBefore = thenIt == then.end() ? 0 : thenIt->second;
        std::int64_t expected = 1;
        for (const auto sequence : sequences) {
            if (sequence != expected) {
                break;  // a batch still on its way: read on from it next time
            }
            std::vector<Version> versions;
            try {
                const auto text = readFile(deviceEntry.path() / batchFileName(sequence));
                JsonDocument document(text);
                const auto object = json::asObject(document.root());
                const auto list = object ? json::member(*object, "versions") : std::nullopt;
                const auto array = list ? json::asArray(*list) : std::nullopt;
                if (!array) {
                    throw JsonError("no versions");
                }
                std::int64_t index = 0;
                for (auto element : *array) {
                    const auto entry = json::asObject(element);
                    const auto record = entry ? json::member(*entry, "record") : std::nullopt;
                    const auto lamport = entry ? json::member(*entry, "lamport") : std::nullopt;
                    const auto deleted = entry ? json::member(*entry, "deleted") : std::nullopt;
                    const auto lamportValue = lamport ? json::asInt(*lamport) : std::nullopt;
                    if (!record || !lamportValue) {
                        throw JsonError("an incomplete version");
                    }
                    Version version{device, *lamportValue,
                                    deleted && json::asBool(*deleted).value_or(false),
                                    decodeSyncRecord(*record)};
                    version.record.changeTag =
                        device + ":" + std::to_string(sequence) + ":" + std::to_string(index++);
                    versions.push_back(std::move(version));
                }
            } catch (const std::exception& error) {
                logger().error("[iCloudSync] Skipping unreadable sync batch " + device + "/" +
                               batchFileName(sequence) + " until a later sync: " + error.what());
                break;
            }
            for (auto& version : versions) {
                result.maxLamport = std::max(result.maxLamport, version.lamport);
                const auto consider = [&](std::map<std::string, Version>& heads) {
                    auto [it, inserted] = heads.try_emplace(version.record.recordName, version);
                    if (!inserted && isNewer(version.lamport, version.device, it->second.device,
                                             it->second.lamport)) {
                        it->second = version;
                    }
                };
                if (sequence <= readBefore) {
                    consider(result.headsThen);
                }
                consider(result.heads);
            }
            result.cursor[device] = sequence;
            ++expected;
        }
    }
    return result;
}

CollectedChanges FolderSyncBackend::fetchChanges(const std::optional<std::string>& token) {
    const auto scanned = scan(decodeToken(token));
    CollectedChanges changes;
    for (const auto& [name, head] : scanned.heads) {
        const auto then = scanned.headsThen.find(name);
        const bool unchanged = then != scanned.headsThen.end() &&
                               then->second.record.changeTag == head.record.changeTag;
        if (unchanged) {
            continue;
        }
        if (head.deleted) {
            // Also when the reader never saw the record: it may have uploaded it itself
            // after its last fetch.
            if (then == scanned.headsThen.end() || !then->second.deleted) {
                changes.deletedRecordIDs.push_back({head.record.recordType, name});
            }
        } else {
            changes.changedRecords.push_back(head.record);
        }
    }
    changes.token = encodeToken(scanned.cursor);
    return changes;
}

std::optional<SyncRecord> FolderSyncBackend::lookup(const SyncRecordId& record) {
    const auto scanned = scan({});
    const auto it = scanned.heads.find(record.recordName);
    if (it == scanned.heads.end() || it->second.deleted) {
        return std::nullopt;
    }
    return it->second.record;
}

std::vector<SyncWriteResult> FolderSyncBackend::modify(const std::vector<SyncRecord>& saves,
                                                       const std::vector<SyncRecordId>& deletions) {
    ensureZone();
    const auto scanned = scan({});
    std::int64_t lamport = scanned.maxLamport;
    std::vector<Version> written;
    std::vector<SyncWriteResult> results;
    for (const auto& record : saves) {
        SyncWriteResult result{{record.recordType, record.recordName}};
        const auto head = scanned.heads.find(record.recordName);
        const bool exists = head != scanned.heads.end() && !head->second.deleted;
        if (exists && record.changeTag != head->second.record.changeTag) {
            result.status = SyncWriteResult::Status::conflict;
            result.serverRecord = head->second.record;
        } else if (!exists && head != scanned.heads.end() && record.changeTag) {
            result.status = SyncWriteResult::Status::conflict;  // deleted there meanwhile
        } else {
            result.status = SyncWriteResult::Status::saved;
            Version version{deviceId_, ++lamport, false, record};
            // Cleared fields mean nothing in a whole-record version.
            std::erase_if(version.record.fields,
                          [](const auto& field) { return field.second.isCleared(); });
            written.push_back(std::move(version));
        }
        results.push_back(std::move(result));
    }
    for (const auto& id : deletions) {
        SyncWriteResult result{id, SyncWriteResult::Status::saved};
        const auto head = scanned.heads.find(id.recordName);
        if (head != scanned.heads.end() && !head->second.deleted) {
            SyncRecord tombstone{id.recordType, id.recordName, std::nullopt, {}};
            written.push_back({deviceId_, ++lamport, true, std::move(tombstone)});
        }
        results.push_back(std::move(result));
    }
    if (written.empty()) {
        return results;
    }
    std::int64_t sequence = 0;
    writeBatch(written, sequence);
    // Hand back each saved record as it now stands, with the tag of its version.
    std::size_t index = 0;
    for (std::size_t position = 0; position < saves.size(); ++position) {
        auto& result = results[position];
        if (result.status != SyncWriteResult::Status::saved) {
            continue;
        }
        while (index < written.size() &&
               written[index].record.recordName != result.record.recordName) {
            ++index;
        }
        if (index < written.size()) {
            auto record = written[index].record;
            record.changeTag =
                deviceId_ + ":" + std::to_string(sequence) + ":" + std::to_string(index);
            result.serverRecord = std::move(record);
        }
    }
    return results;
}

void FolderSyncBackend::writeBatch(const std::vector<Version>& versions, std::int64_t& sequence) {
    const auto folder = root() / deviceId_;
    std::int64_t last = 0;
    std::error_code failure;
    for (const auto& file : fs::directory_iterator(folder, failure)) {
        last = std::max(last, batchSequence(file.path().filename().string()).value_or(0));
    }
    JsonWriter w(false);
    w.beginObject();
    w.field("device", deviceId_);
    w.key("versions");
    w.beginArray();
    for (const auto& version : versions) {
        w.beginObject();
        w.field("deleted", version.deleted);
        w.field("lamport", version.lamport);
        w.key("record");
        SyncRecord untagged = version.record;
        untagged.changeTag.reset();
        encodeSyncRecord(w, untagged);
        w.endObject();
    }
    w.endArray();
    w.endObject();
    const auto bytes = w.take();
    const auto staging = folder / (".staging-" + Uuid::random().toString());
    try {
        writeFileAtomically(staging, bytes);
    } catch (const std::exception& error) {
        throw SyncBackendError(std::string("Couldn't write to the sync folder: ") + error.what());
    }
    // Another process of this device may take a number at the same moment: linking fails
    // rather than overwriting, and the next number is tried.
    for (int attempt = 0; attempt < 1000; ++attempt) {
        sequence = last + 1 + attempt;
        fs::create_hard_link(staging, folder / batchFileName(sequence), failure);
        if (!failure) {
            fs::remove(staging, failure);
            return;
        }
        if (failure != std::errc::file_exists) {
            break;
        }
    }
    const auto reason = failure.message();
    fs::remove(staging, failure);
    throw SyncBackendError("Couldn't add a batch to the sync folder " + folder.string() + ": " +
                           reason);
}

}  // namespace wordloom
