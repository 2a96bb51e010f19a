#include "core/sync/CloudKitWebServicesBackend.h"

#include <cmath>

#include "core/base/JsonReader.h"
#include "core/base/JsonWriter.h"
#include "core/base/Log.h"

namespace wordloom {
namespace {

const Logger& logger() {
    static const Logger instance("iCloudSyncService.cloudkit");
    return instance;
}

std::optional<std::string> stringMember(JsonObject object, std::string_view key) {
    const auto value = json::member(object, key);
    const auto text = value ? json::asString(*value) : std::nullopt;
    return text ? std::optional<std::string>(*text) : std::nullopt;
}

std::string minified(JsonElement element) {
    return simdjson::minify(element);
}

void writeZoneId(JsonWriter& w, const std::string& zoneName) {
    w.key("zoneID");
    w.beginObject();
    w.field("zoneName", zoneName);
    w.endObject();
}

void writeFieldValue(JsonWriter& w, const SyncFieldValue& field, const std::string& assetReceipt) {
    w.beginObject();
    std::visit(
        [&](const auto& v) {
            using T = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<T, SyncFieldCleared>) {
                w.key("value");
                w.null();
            } else if constexpr (std::is_same_v<T, std::string>) {
                w.field("type", "STRING");
                w.field("value", v);
            } else if constexpr (std::is_same_v<T, std::int64_t>) {
                w.field("type", "INT64");
                w.field("value", v);
            } else if constexpr (std::is_same_v<T, SyncFieldValue::Milliseconds>) {
                w.field("type", "TIMESTAMP");
                w.field("value", v.value);
            } else if constexpr (std::is_same_v<T, Bytes>) {
                w.field("type", "BYTES");
                w.field("value", encodeBase64(v));
            } else if constexpr (std::is_same_v<T, std::vector<std::string>>) {
                w.field("type", "STRING_LIST");
                w.key("value");
                w.beginArray();
                for (const auto& item : v) {
                    w.value(item);
                }
                w.endArray();
            } else {
                w.field("type", "ASSET");
                w.key("value");
                w.rawValue(assetReceipt);
            }
        },
        field.value);
    w.endObject();
}

}  // namespace

std::optional<std::string> cloudKitErrorMessage(long status, const std::string& body) {
    if (status >= 200 && status < 300) {
        return std::nullopt;
    }
    std::string code;
    std::string reason;
    try {
        JsonDocument document(body);
        if (const auto object = json::asObject(document.root())) {
            code = stringMember(*object, "serverErrorCode").value_or("");
            reason = stringMember(*object, "reason").value_or("");
        }
    } catch (const JsonError&) {
    }
    if (code == "AUTHENTICATION_REQUIRED" || code == "AUTHENTICATION_FAILED" || status == 421 ||
        status == 401) {
        return "iCloud needs you to sign in again: run \u201cwordloom sync sign-in\u201d.";
    }
    if (code == "ACCESS_DENIED" || status == 403) {
        return "iCloud refused access to your private database. CloudKit cannot be reached from "
               "Linux when Advanced Data Protection is on or \u201cAccess iCloud Data on the "
               "Web\u201d is off in your Apple Account settings; a sync folder works without "
               "either.";
    }
    if (code == "QUOTA_EXCEEDED") {
        return "Your iCloud storage is full; changes stay queued here until there is room.";
    }
    if (code == "THROTTLED" || status == 429) {
        return "iCloud asked Wordloom to slow down; changes stay queued and go out later.";
    }
    if (code.empty()) {
        return "CloudKit answered with HTTP status " + std::to_string(status) + ".";
    }
    return "CloudKit answered " + code + (reason.empty() ? "" : ": " + reason);
}

CloudKitWebServicesBackend::CloudKitWebServicesBackend(CloudKitSettings settings,
                                                       std::shared_ptr<HttpTransport> transport,
                                                       std::shared_ptr<WebAuthTokenStore> tokens)
    : settings_(std::move(settings)),
      transport_(std::move(transport)),
      tokens_(std::move(tokens)) {}

std::string CloudKitWebServicesBackend::url(const std::string& database,
                                            const std::string& operation) {
    std::string out = settings_.baseURL + "/database/1/" + settings_.container + "/" +
                      settings_.environment + "/" + database + "/" + operation +
                      "?ckAPIToken=" + percentEncode(settings_.apiToken);
    if (const auto token = tokens_->load()) {
        out += "&ckWebAuthToken=" + percentEncode(*token);
    }
    return out;
}

std::string CloudKitWebServicesBackend::call(const std::string& database,
                                             const std::string& operation,
                                             const std::string& body) {
    std::lock_guard lock(requestMutex_);
    HttpRequest request;
    request.method = body.empty() ? "GET" : "POST";
    request.url = url(database, operation);
    request.body = body;
    request.timeout = settings_.requestTimeout;
    request.headers["Content-Type"] = "application/json";
    const auto response = transport_->send(request);
    // Each answer may carry the token to use next; the old one may stop working.
    if (const auto rotated = response.headers.find("x-apple-cloudkit-web-auth-token");
        rotated != response.headers.end() && !rotated->second.empty() &&
        tokens_->load() != rotated->second) {
        tokens_->save(rotated->second);
    }
    if (const auto requestId = response.headers.find("x-apple-request-uuid");
        requestId != response.headers.end()) {
        logger().debug("[iCloudSync] " + operation + " request " + requestId->second);
    }
    const auto message = cloudKitErrorMessage(response.status, response.body);
    if (!message) {
        return response.body;
    }
    std::string code;
    std::string redirect;
    std::optional<std::chrono::seconds> retryAfter;
    try {
        JsonDocument document(response.body);
        if (const auto object = json::asObject(document.root())) {
            code = stringMember(*object, "serverErrorCode").value_or("");
            redirect = stringMember(*object, "redirectURL").value_or("");
            if (const auto after = json::member(*object, "retryAfter")) {
                if (const auto seconds = json::asInt(*after)) {
                    retryAfter = std::chrono::seconds(*seconds);
                }
            }
        }
    } catch (const JsonError&) {
    }
    if (code == "AUTHENTICATION_REQUIRED" || code == "AUTHENTICATION_FAILED" ||
        response.status == 421 || response.status == 401) {
        tokens_->clear();
        throw CloudKitAuthenticationError(*message, redirect);
    }
    if (!retryAfter && (code == "TRY_AGAIN_LATER" || code == "THROTTLED")) {
        retryAfter = std::chrono::seconds(30);
    }
    throw SyncBackendError(*message, retryAfter);
}

void CloudKitWebServicesBackend::ensureZone() {
    JsonWriter lookup(false);
    lookup.beginObject();
    lookup.key("zones");
    lookup.beginArray();
    lookup.beginObject();
    lookup.field("zoneName", settings_.zoneName);
    lookup.endObject();
    lookup.endArray();
    lookup.endObject();
    const auto answer = call("private", "zones/lookup", lookup.take());
    JsonDocument document(answer);
    const auto object = json::asObject(document.root());
    const auto zones = object ? json::member(*object, "zones") : std::nullopt;
    const auto array = zones ? json::asArray(*zones) : std::nullopt;
    if (array) {
        for (auto zone : *array) {
            const auto zoneObject = json::asObject(zone);
            if (zoneObject && !stringMember(*zoneObject, "serverErrorCode")) {
                return;  // it exists
            }
        }
    }
    JsonWriter create(false);
    create.beginObject();
    create.key("operations");
    create.beginArray();
    create.beginObject();
    create.field("operationType", "create");
    create.key("zone");
    create.beginObject();
    writeZoneId(create, settings_.zoneName);
    create.endObject();
    create.endObject();
    create.endArray();
    create.endObject();
    const auto created = call("private", "zones/modify", create.take());
    JsonDocument createdDocument(created);
    const auto createdObject = json::asObject(createdDocument.root());
    const auto createdZones = createdObject ? json::member(*createdObject, "zones") : std::nullopt;
    const auto createdArray = createdZones ? json::asArray(*createdZones) : std::nullopt;
    if (createdArray) {
        for (auto zone : *createdArray) {
            const auto zoneObject = json::asObject(zone);
            const auto code =
                zoneObject ? stringMember(*zoneObject, "serverErrorCode") : std::nullopt;
            if (code && *code != "EXISTS") {
                throw SyncBackendError("CloudKit did not create the zone " + settings_.zoneName +
                                       ": " + *code);
            }
        }
    }
}

SyncRecord CloudKitWebServicesBackend::decodeRecord(JsonElement element, bool downloadAssets) {
    const auto object = json::asObject(element);
    if (!object) {
        throw JsonError("a record is not an object");
    }
    SyncRecord record;
    record.recordType = stringMember(*object, "recordType").value_or("");
    record.recordName = stringMember(*object, "recordName").value_or("");
    record.changeTag = stringMember(*object, "recordChangeTag");
    const auto fields = json::member(*object, "fields");
    const auto fieldObject = fields ? json::asObject(*fields) : std::nullopt;
    if (!fieldObject) {
        return record;
    }
    for (auto [name, entry] : *fieldObject) {
        const auto entryObject = json::asObject(entry);
        if (!entryObject) {
            continue;
        }
        const auto type = stringMember(*entryObject, "type").value_or("");
        const auto value = json::member(*entryObject, "value");
        if (!value || value->is_null()) {
            continue;
        }
        if (type == "TIMESTAMP") {
            if (const auto number = json::asDouble(*value)) {
                record.set(std::string(name),
                           {SyncFieldValue::Milliseconds{
                               static_cast<std::int64_t>(std::llround(*number))}});
            }
        } else if (type == "BYTES") {
            if (const auto bytes = json::asBytes(*value)) {
                record.set(std::string(name), {*bytes});
            }
        } else if (type == "ASSETID" || type == "ASSET") {
            SyncAsset asset;
            const auto assetObject = json::asObject(*value);
            const auto download =
                assetObject ? stringMember(*assetObject, "downloadURL") : std::nullopt;
            if (downloadAssets && download) {
                auto address = *download;
                if (const auto at = address.find("${f}"); at != std::string::npos) {
                    address.replace(at, 4, "image");
                }
                try {
                    HttpRequest request;
                    request.method = "GET";
                    request.url = address;
                    request.timeout = settings_.requestTimeout;
                    const auto response = transport_->send(request);
                    if (response.status >= 200 && response.status < 300) {
                        asset.bytes.assign(response.body.begin(), response.body.end());
                    }
                } catch (const SyncBackendError& error) {
                    logger().error(std::string("[iCloudSync] ") + error.what());
                }
            }
            record.set(std::string(name), {std::move(asset)});
        } else if (const auto text = json::asString(*value)) {
            record.set(std::string(name), {std::string(*text)});
        } else if (const auto array = json::asArray(*value)) {
            std::vector<std::string> items;
            for (auto item : *array) {
                if (const auto itemText = json::asString(item)) {
                    items.emplace_back(*itemText);
                }
            }
            record.set(std::string(name), {std::move(items)});
        } else if (const auto integer = json::asInt(*value)) {
            record.set(std::string(name), {*integer});
        } else if (const auto number = json::asDouble(*value)) {
            record.set(std::string(name), {static_cast<std::int64_t>(std::llround(*number))});
        }
    }
    return record;
}

CollectedChanges CloudKitWebServicesBackend::fetchChanges(const std::optional<std::string>& token) {
    CollectedChanges changes;
    std::optional<std::string> syncToken = token;
    bool restarted = false;
    for (int page = 0; page < 10'000; ++page) {
        JsonWriter w(false);
        w.beginObject();
        w.key("zones");
        w.beginArray();
        w.beginObject();
        writeZoneId(w, settings_.zoneName);
        if (syncToken) {
            w.field("syncToken", *syncToken);
        }
        w.field("resultsLimit", 200);
        w.endObject();
        w.endArray();
        w.endObject();
        const auto answer = call("private", "changes/zone", w.take());
        JsonDocument document(answer);
        const auto object = json::asObject(document.root());
        const auto zones = object ? json::member(*object, "zones") : std::nullopt;
        const auto array = zones ? json::asArray(*zones) : std::nullopt;
        if (!array || array->begin() == array->end()) {
            throw SyncBackendError("CloudKit answered changes/zone without the zone.");
        }
        const auto zone = json::asObject(*array->begin());
        if (!zone) {
            throw SyncBackendError("CloudKit answered changes/zone with something unreadable.");
        }
        if (const auto code = stringMember(*zone, "serverErrorCode")) {
            // A token the server no longer knows: start over and compare everything.
            if (!restarted && syncToken &&
                (*code == "CHANGE_TOKEN_EXPIRED" || *code == "BAD_REQUEST")) {
                restarted = true;
                syncToken.reset();
                changes = {};
                continue;
            }
            throw SyncBackendError("CloudKit could not list the zone's changes: " + *code + " " +
                                   stringMember(*zone, "reason").value_or(""));
        }
        if (const auto records = json::member(*zone, "records")) {
            for (auto entry : json::asArray(*records).value_or(JsonArray{})) {
                const auto entryObject = json::asObject(entry);
                if (!entryObject) {
                    continue;
                }
                const auto deleted = json::member(*entryObject, "deleted");
                if (deleted && json::asBool(*deleted).value_or(false)) {
                    changes.deletedRecordIDs.push_back(
                        {stringMember(*entryObject, "recordType").value_or(""),
                         stringMember(*entryObject, "recordName").value_or("")});
                    continue;
                }
                try {
                    changes.changedRecords.push_back(decodeRecord(entry, true));
                } catch (const JsonError& error) {
                    changes.errors.push_back(std::string("Could not decode CloudKit record: ") +
                                             error.what());
                }
            }
        }
        syncToken = stringMember(*zone, "syncToken");
        const auto more = json::member(*zone, "moreComing");
        if (!more || !json::asBool(*more).value_or(false)) {
            break;
        }
    }
    changes.token = syncToken;
    return changes;
}

std::string CloudKitWebServicesBackend::uploadAsset(const SyncRecord& record,
                                                    const std::string& fieldName,
                                                    const Bytes& bytes) {
    JsonWriter w(false);
    w.beginObject();
    writeZoneId(w, settings_.zoneName);
    w.key("tokens");
    w.beginArray();
    w.beginObject();
    w.field("fieldName", fieldName);
    w.field("recordName", record.recordName);
    w.field("recordType", record.recordType);
    w.endObject();
    w.endArray();
    w.endObject();
    const auto answer = call("private", "assets/upload", w.take());
    JsonDocument document(answer);
    const auto object = json::asObject(document.root());
    const auto tokens = object ? json::member(*object, "tokens") : std::nullopt;
    const auto array = tokens ? json::asArray(*tokens) : std::nullopt;
    const auto first =
        array && array->begin() != array->end() ? json::asObject(*array->begin()) : std::nullopt;
    const auto uploadURL = first ? stringMember(*first, "url") : std::nullopt;
    if (!uploadURL) {
        throw SyncBackendError("CloudKit gave no upload address for an image.");
    }
    HttpRequest upload;
    upload.url = *uploadURL;
    upload.timeout = settings_.requestTimeout;
    upload.headers["Content-Type"] = "application/octet-stream";
    upload.body.assign(bytes.begin(), bytes.end());
    const auto response = transport_->send(upload);
    if (response.status < 200 || response.status >= 300) {
        throw SyncBackendError("CloudKit refused an image upload (HTTP " +
                               std::to_string(response.status) + ").");
    }
    JsonDocument receipt(response.body);
    const auto receiptObject = json::asObject(receipt.root());
    const auto singleFile =
        receiptObject ? json::member(*receiptObject, "singleFile") : std::nullopt;
    if (!singleFile || !json::asObject(*singleFile)) {
        throw SyncBackendError("CloudKit's answer to an image upload has no receipt.");
    }
    return minified(*singleFile);
}

std::vector<SyncWriteResult> CloudKitWebServicesBackend::modify(
    const std::vector<SyncRecord>& saves, const std::vector<SyncRecordId>& deletions) {
    std::vector<SyncWriteResult> results;
    std::vector<SyncRecord> sent;
    std::vector<std::string> notes(saves.size());
    JsonWriter w(false);
    w.beginObject();
    w.field("atomic", false);
    w.key("operations");
    w.beginArray();
    for (std::size_t i = 0; i < saves.size(); ++i) {
        auto record = saves[i];
        for (auto it = record.fields.begin(); it != record.fields.end();) {
            const auto* asset = it->second.asAsset();
            if (asset && asset->bytes.size() > settings_.assetLimitBytes) {
                notes[i] = "The image of snippet " + record.recordName + " is larger than " +
                           std::to_string(settings_.assetLimitBytes / (1024 * 1024)) +
                           " MB, CloudKit's limit; it stays on this machine.";
                it = record.fields.erase(it);
                continue;
            }
            ++it;
        }
        w.beginObject();
        w.field("operationType", record.changeTag ? "update" : "create");
        w.key("record");
        w.beginObject();
        w.field("recordType", record.recordType);
        w.field("recordName", record.recordName);
        if (record.changeTag) {
            w.field("recordChangeTag", *record.changeTag);
        }
        w.key("fields");
        w.beginObject();
        for (const auto& [name, value] : record.fields) {
            w.key(name);
            std::string receipt;
            if (const auto* asset = value.asAsset()) {
                receipt = uploadAsset(record, name, asset->bytes);
            }
            writeFieldValue(w, value, receipt);
        }
        w.endObject();
        w.endObject();
        w.endObject();
        std::erase_if(record.fields, [](const auto& f) { return f.second.isCleared(); });
        sent.push_back(std::move(record));
    }
    for (const auto& id : deletions) {
        w.beginObject();
        w.field("operationType", "forceDelete");
        w.key("record");
        w.beginObject();
        w.field("recordName", id.recordName);
        w.endObject();
        w.endObject();
    }
    w.endArray();
    writeZoneId(w, settings_.zoneName);
    w.endObject();
    const auto answer = call("private", "records/modify", w.take());
    JsonDocument document(answer);
    const auto object = json::asObject(document.root());
    const auto records = object ? json::member(*object, "records") : std::nullopt;
    const auto array = records ? json::asArray(*records) : std::nullopt;
    if (!array) {
        throw SyncBackendError("CloudKit answered records/modify without records.");
    }
    std::size_t index = 0;
    for (auto entry : *array) {
        if (index >= saves.size() + deletions.size()) {
            break;
        }
        const bool isDeletion = index >= saves.size();
        SyncWriteResult result;
        result.record = isDeletion ? deletions[index - saves.size()]
                                   : SyncRecordId{saves[index].recordType, saves[index].recordName};
        const auto entryObject = json::asObject(entry);
        const auto code =
            entryObject ? stringMember(*entryObject, "serverErrorCode") : std::nullopt;
        if (!code) {
            result.status = SyncWriteResult::Status::saved;
            if (!isDeletion) {
                auto saved = sent[index];
                saved.changeTag =
                    entryObject ? stringMember(*entryObject, "recordChangeTag") : std::nullopt;
                result.serverRecord = std::move(saved);
                result.message = notes[index];
            }
        } else if (*code == "CONFLICT" || *code == "EXISTS") {
            result.status = SyncWriteResult::Status::conflict;  // the copy is looked up next
        } else if (*code == "NOT_FOUND") {
            result.status =
                isDeletion ? SyncWriteResult::Status::saved : SyncWriteResult::Status::conflict;
        } else {
            result.status = SyncWriteResult::Status::failed;
            result.message = "CloudKit refused " + result.record.recordName + ": " + *code + " " +
                             stringMember(*entryObject, "reason").value_or("");
        }
        results.push_back(std::move(result));
        ++index;
    }
    if (results.size() != saves.size() + deletions.size()) {
        throw SyncBackendError("CloudKit answered records/modify for fewer records than sent.");
    }
    return results;
}

std::optional<SyncRecord> CloudKitWebServicesBackend::lookup(const SyncRecordId& record) {
    JsonWriter w(false);
    w.beginObject();
    w.key("records");
    w.beginArray();
    w.beginObject();
    w.field("recordName", record.recordName);
    w.endObject();
    w.endArray();
    writeZoneId(w, settings_.zoneName);
    w.endObject();
    const auto answer = call("private", "records/lookup", w.take());
    JsonDocument document(answer);
    const auto object = json::asObject(document.root());
    const auto records = object ? json::member(*object, "records") : std::nullopt;
    const auto array = records ? json::asArray(*records) : std::nullopt;
    if (!array || array->begin() == array->end()) {
        throw SyncBackendError("CloudKit answered records/lookup without records.");
    }
    const auto first = *array->begin();
    const auto firstObject = json::asObject(first);
    if (const auto code =
            firstObject ? stringMember(*firstObject, "serverErrorCode") : std::nullopt) {
        if (*code == "NOT_FOUND") {
            return std::nullopt;
        }
        throw SyncBackendError("CloudKit could not look up " + record.recordName + ": " + *code);
    }
    return decodeRecord(first, true);
}

}  // namespace wordloom
