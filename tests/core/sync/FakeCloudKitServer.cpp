#include "FakeCloudKitServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>

#include "core/base/JsonReader.h"
#include "core/base/JsonWriter.h"
#include "core/sync/HttpTransport.h"

namespace wordloom::test {
namespace {

std::optional<std::string> text(JsonObject object, std::string_view key) {
    const auto value = json::member(object, key);
    const auto s = value ? json::asString(*value) : std::nullopt;
    return s ? std::optional<std::string>(*s) : std::nullopt;
}

std::string errorBody(const std::string& code, const std::string& reason,
                      const std::string& extra = "") {
    return "{\"serverErrorCode\":\"" + code + "\",\"reason\":\"" + reason + "\"" + extra + "}";
}

}  // namespace

FakeCloudKitServer::FakeCloudKitServer(std::string apiToken, std::string container)
    : apiToken_(std::move(apiToken)), container_(std::move(container)) {
    listenFd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::bind(listenFd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listenFd_, 16) != 0) {
        throw std::runtime_error("the fake CloudKit server cannot listen");
    }
    socklen_t length = sizeof address;
    ::getsockname(listenFd_, reinterpret_cast<sockaddr*>(&address), &length);
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { serve(); });
}

FakeCloudKitServer::~FakeCloudKitServer() {
    stopping_ = true;
    hanging_ = false;
    ::shutdown(listenFd_, SHUT_RDWR);
    thread_.join();
    ::close(listenFd_);
}

std::string FakeCloudKitServer::issueToken() {
    std::lock_guard lock(mutex_);
    latestToken_ = "web+token/" + std::to_string(++tokenCounter_) + "==";
    validTokens_ = {latestToken_};
    return latestToken_;
}

std::string FakeCloudKitServer::latestToken() const {
    std::lock_guard lock(mutex_);
    return latestToken_;
}

bool FakeCloudKitServer::zoneExists() const {
    std::lock_guard lock(mutex_);
    return zoneExists_;
}

std::optional<FakeCloudKitServer::StoredRecord> FakeCloudKitServer::record(
    const std::string& name) const {
    std::lock_guard lock(mutex_);
    const auto it = records_.find(name);
    if (it == records_.end() || it->second.deleted) {
        return std::nullopt;
    }
    return it->second;
}

std::size_t FakeCloudKitServer::recordCount() const {
    std::lock_guard lock(mutex_);
    return static_cast<std::size_t>(std::count_if(
        records_.begin(), records_.end(), [](const auto& entry) { return !entry.second.deleted; }));
}

void FakeCloudKitServer::editField(const std::string& name, const std::string& field,
                                   const std::string& value) {
    std::lock_guard lock(mutex_);
    auto& stored = records_.at(name);
    stored.fields[field] = "{\"type\":\"STRING\",\"value\":" + JsonWriter::quoted(value) + "}";
    stored.changeTag = "tag" + std::to_string(++tagCounter_);
    stored.changeSequence = ++sequence_;
}

void FakeCloudKitServer::throttleNext(int seconds) {
    std::lock_guard lock(mutex_);
    throttleSeconds_ = seconds;
}

void FakeCloudKitServer::setHanging(bool hanging) {
    hanging_ = hanging;
}

void FakeCloudKitServer::expireTokens() {
    std::lock_guard lock(mutex_);
    validTokens_.clear();
}

void FakeCloudKitServer::beforeNextModify(std::function<void()> hook) {
    std::lock_guard lock(mutex_);
    beforeModify_ = std::move(hook);
}

int FakeCloudKitServer::requestCount(const std::string& operation) const {
    std::lock_guard lock(mutex_);
    const auto it = requestCounts_.find(operation);
    return it == requestCounts_.end() ? 0 : it->second;
}

void FakeCloudKitServer::serve() {
    while (!stopping_) {
        pollfd waiting{listenFd_, POLLIN, 0};
        if (::poll(&waiting, 1, 100) <= 0) {
            continue;
        }
        const int connection = ::accept4(listenFd_, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection >= 0) {
            handle(connection);
            ::close(connection);
        }
    }
}

void FakeCloudKitServer::handle(int connection) {
    std::string data;
    char buffer[65536];
    std::size_t headerEnd = std::string::npos;
    std::size_t contentLength = 0;
    while (true) {
        if (headerEnd != std::string::npos && data.size() >= headerEnd + 4 + contentLength) {
            break;
        }
        pollfd waiting{connection, POLLIN, 0};
        if (::poll(&waiting, 1, 5000) <= 0) {
            return;
        }
        const auto got = ::recv(connection, buffer, sizeof buffer, 0);
        if (got <= 0) {
            return;
        }
        data.append(buffer, static_cast<std::size_t>(got));
        if (headerEnd == std::string::npos) {
            headerEnd = data.find("\r\n\r\n");
            if (headerEnd != std::string::npos) {
                std::string lower = data.substr(0, headerEnd);
                std::transform(lower.begin(), lower.end(), lower.begin(),
                               [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
                if (const auto at = lower.find("content-length:"); at != std::string::npos) {
                    contentLength = std::stoul(lower.substr(at + 15));
                }
            }
        }
    }
    while (hanging_ && !stopping_) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    const auto lineEnd = data.find("\r\n");
    const auto line = data.substr(0, lineEnd);
    const auto firstSpace = line.find(' ');
    const auto lastSpace = line.rfind(' ');
    const auto method = line.substr(0, firstSpace);
    const auto target = line.substr(firstSpace + 1, lastSpace - firstSpace - 1);
    const auto question = target.find('?');
    const auto path = target.substr(0, question);
    std::map<std::string, std::string> query;
    if (question != std::string::npos) {
        std::string_view rest(target);
        rest.remove_prefix(question + 1);
        while (!rest.empty()) {
            const auto end = rest.find('&');
            const auto pair = rest.substr(0, end);
            const auto equals = pair.find('=');
            if (equals != std::string_view::npos) {
                query[std::string(pair.substr(0, equals))] = percentDecode(pair.substr(equals + 1));
            }
            if (end == std::string_view::npos) {
                break;
            }
            rest.remove_prefix(end + 1);
        }
    }
    int status = 200;
    std::string contentType = "application/json";
    std::string rotated;
    std::string body;
    {
        std::lock_guard lock(mutex_);
        body = route(method, path, query, data.substr(headerEnd + 4), status, contentType);
        if (status == 200 && path.find("/database/1/") == 0) {
            latestToken_ = "web+token/" + std::to_string(++tokenCounter_) + "==";
            validTokens_ = {latestToken_};  // the old one stops working at once
            rotated = latestToken_;
        }
    }
    std::string response =
        "HTTP/1.1 " + std::to_string(status) + " X\r\nContent-Type: " + contentType +
        "\r\nContent-Length: " + std::to_string(body.size()) + "\r\nX-Apple-Request-UUID: fake\r\n";
    if (!rotated.empty()) {
        response += "X-Apple-CloudKit-Web-Auth-Token: " + rotated + "\r\n";
    }
    response += "Connection: close\r\n\r\n" + body;
    std::size_t sent = 0;
    while (sent < response.size()) {
        const auto wrote =
            ::send(connection, response.data() + sent, response.size() - sent, MSG_NOSIGNAL);
        if (wrote <= 0) {
            return;
        }
        sent += static_cast<std::size_t>(wrote);
    }
}

std::string FakeCloudKitServer::recordJson(const std::string& name,
                                           const StoredRecord& record) const {
    if (record.deleted) {
        return "{\"recordName\":" + JsonWriter::quoted(name) + ",\"deleted\":true}";
    }
    std::string out = "{\"recordName\":" + JsonWriter::quoted(name) +
                      ",\"recordType\":" + JsonWriter::quoted(record.recordType) +
                      ",\"recordChangeTag\":" + JsonWriter::quoted(record.changeTag) +
                      ",\"fields\":{";
    bool first = true;
    for (const auto& [field, value] : record.fields) {
        out += (first ? "" : ",") + JsonWriter::quoted(field) + ":" + value;
        first = false;
    }
    return out + "}}";
}

std::string FakeCloudKitServer::route(const std::string& method, const std::string& path,
                                      const std::map<std::string, std::string>& query,
                                      const std::string& body, int& status,
                                      std::string& contentType) {
    // Asset uploads and downloads go to addresses of their own, without tokens.
    if (path.rfind("/upload/", 0) == 0) {
        const auto id = path.substr(8);
        assets_[id] = body;
        return "{\"singleFile\":{\"fileChecksum\":\"c" + id + "\",\"receipt\":\"" + id +
               "\",\"referenceChecksum\":\"r\",\"size\":" + std::to_string(body.size()) +
               ",\"wrappingKey\":\"w\"}}";
    }
    if (path.rfind("/assets/", 0) == 0) {
        const auto id = path.substr(8, path.find('/', 8) - 8);
        contentType = "application/octet-stream";
        if (!assets_.contains(id)) {
            status = 404;
            return "";
        }
        return assets_[id];
    }
    const std::string prefix = "/database/1/" + container_ + "/";
    if (path.rfind(prefix, 0) != 0) {
        status = 404;
        return errorBody("NOT_FOUND", "no such path");
    }
    // <environment>/<database>/<operation>
    std::string rest = path.substr(prefix.size());
    rest = rest.substr(rest.find('/') + 1);
    const auto database = rest.substr(0, rest.find('/'));
    const auto operation = rest.substr(rest.find('/') + 1);
    ++requestCounts_[operation];
    const auto api = query.find("ckAPIToken");
    if (api == query.end() || api->second != apiToken_) {
        status = 401;
        return errorBody("AUTHENTICATION_FAILED", "bad API token");
    }
    const auto web = query.find("ckWebAuthToken");
    if (web == query.end() || !validTokens_.contains(web->second)) {
        status = 421;
        return errorBody("AUTHENTICATION_REQUIRED", "request needs authorization",
                         ",\"redirectURL\":\"https://idmsa.example/auth?x=1\"");
    }
    if (throttleSeconds_ > 0 && database == "private") {
        const auto seconds = throttleSeconds_;
        throttleSeconds_ = 0;
        status = 429;
        return errorBody("THROTTLED", "slow down", ",\"retryAfter\":" + std::to_string(seconds));
    }
    if (operation == "users/current") {
        return "{\"userRecordName\":\"_fakeuser\"}";
    }
    if (method != "POST") {
        status = 400;
        return errorBody("BAD_REQUEST", "expected POST");
    }
    JsonDocument document(body);
    const auto request = *json::asObject(document.root());
    if (operation == "zones/lookup") {
        return zoneExists_ ? "{\"zones\":[{\"zoneID\":{\"zoneName\":\"WordloomZone\"}}]}"
                           : "{\"zones\":[{\"zoneID\":{\"zoneName\":\"WordloomZone\"},"
                             "\"serverErrorCode\":\"ZONE_NOT_FOUND\"}]}";
    }
    if (operation == "zones/modify") {
        zoneExists_ = true;
        return "{\"zones\":[{\"zoneID\":{\"zoneName\":\"WordloomZone\"}}]}";
    }
    if (!zoneExists_) {
        status = 404;
        return errorBody("ZONE_NOT_FOUND", "zone missing");
    }
    if (operation == "changes/zone") {
        const auto zones = *json::asArray(*json::member(request, "zones"));
        const auto zone = *json::asObject(*zones.begin());
        const auto token = text(zone, "syncToken");
        std::int64_t since = 0;
        if (token) {
            if (token->rfind("s", 0) != 0) {
                return "{\"zones\":[{\"zoneID\":{\"zoneName\":\"WordloomZone\"},"
                       "\"serverErrorCode\":\"CHANGE_TOKEN_EXPIRED\"}]}";
            }
            since = std::stoll(token->substr(1));
        }
        const auto limitMember = json::member(zone, "resultsLimit");
        const auto limit = limitMember ? json::asInt(*limitMember).value_or(200) : 200;
        std::vector<std::pair<std::int64_t, std::string>> changed;
        for (const auto& [name, record] : records_) {
            if (record.changeSequence > since) {
                changed.emplace_back(record.changeSequence, name);
            }
        }
        std::sort(changed.begin(), changed.end());
        std::string out = "{\"zones\":[{\"zoneID\":{\"zoneName\":\"WordloomZone\"},\"records\":[";
        std::int64_t last = since;
        std::size_t count = 0;
        for (const auto& [sequence, name] : changed) {
            if (static_cast<std::int64_t>(count) == limit) {
                break;
            }
            out += (count++ ? "," : "") + recordJson(name, records_.at(name));
            last = sequence;
        }
        const bool more = count < changed.size();
        if (!more) {
            last = std::max(last, sequence_);
        }
        return out + "],\"syncToken\":\"s" + std::to_string(last) +
               "\",\"moreComing\":" + (more ? "true" : "false") + "}]}";
    }
    if (operation == "records/lookup") {
        std::string out = "{\"records\":[";
        bool first = true;
        const auto records = *json::asArray(*json::member(request, "records"));
        for (auto entry : records) {
            const auto name = *text(*json::asObject(entry), "recordName");
            const auto it = records_.find(name);
            out += first ? "" : ",";
            first = false;
            if (it == records_.end() || it->second.deleted) {
                out += "{\"recordName\":" + JsonWriter::quoted(name) +
                       ",\"serverErrorCode\":\"NOT_FOUND\"}";
            } else {
                out += recordJson(name, it->second);
            }
        }
        return out + "]}";
    }
    if (operation == "assets/upload") {
        const auto id = "a" + std::to_string(++assetCounter_);
        return "{\"tokens\":[{\"url\":\"" + baseURL() + "/upload/" + id + "\"}]}";
    }
    if (operation == "records/modify") {
        if (beforeModify_) {
            auto hook = std::move(beforeModify_);
            beforeModify_ = {};
            mutex_.unlock();
            hook();
            mutex_.lock();
        }
        std::string out = "{\"records\":[";
        bool first = true;
        const auto operations = *json::asArray(*json::member(request, "operations"));
        for (auto operationElement : operations) {
            const auto op = *json::asObject(operationElement);
            const auto type = *text(op, "operationType");
            const auto record = *json::asObject(*json::member(op, "record"));
            const auto name = *text(record, "recordName");
            out += first ? "" : ",";
            first = false;
            auto it = records_.find(name);
            const bool exists = it != records_.end() && !it->second.deleted;
            const auto fail = [&](const std::string& code) {
                out += "{\"recordName\":" + JsonWriter::quoted(name) + ",\"serverErrorCode\":\"" +
                       code + "\",\"reason\":\"oplock error\"}";
            };
            if (type == "forceDelete") {
                if (exists) {
                    it->second.deleted = true;
                    it->second.changeSequence = ++sequence_;
                }
                out += "{\"recordName\":" + JsonWriter::quoted(name) + ",\"deleted\":true}";
                continue;
            }
            if (type == "create" && exists) {
                fail("EXISTS");
                continue;
            }
            if (type == "update") {
                if (!exists) {
                    fail("NOT_FOUND");
                    continue;
                }
                if (text(record, "recordChangeTag") != it->second.changeTag) {
                    fail("CONFLICT");
                    continue;
                }
            }
            auto& stored = records_[name];
            if (type == "create") {
                stored = StoredRecord{};
            }
            stored.deleted = false;
            stored.recordType = text(record, "recordType").value_or(stored.recordType);
            if (const auto fields = json::member(record, "fields")) {
                const auto fieldObject = *json::asObject(*fields);
                for (auto [field, value] : fieldObject) {
                    const auto valueObject = *json::asObject(value);
                    const auto inner = json::member(valueObject, "value");
                    if (!inner || inner->is_null()) {
                        stored.fields.erase(std::string(field));
                    } else if (text(valueObject, "type") == "ASSET") {
                        const auto receipt = *text(*json::asObject(*inner), "receipt");
                        stored.fields[std::string(field)] =
                            "{\"type\":\"ASSETID\",\"value\":{\"downloadURL\":\"" + baseURL() +
                            "/assets/" + receipt +
                            "/${f}?o=1\",\"size\":" + std::to_string(assets_[receipt].size()) +
                            "}}";
                    } else {
                        stored.fields[std::string(field)] = simdjson::minify(value);
                    }
                }
            }
            stored.changeTag = "tag" + std::to_string(++tagCounter_);
            stored.changeSequence = ++sequence_;
            out += "{\"recordName\":" + JsonWriter::quoted(name) +
                   ",\"recordChangeTag\":" + JsonWriter::quoted(stored.changeTag) + "}";
        }
        return out + "]}";
    }
    status = 400;
    return errorBody("BAD_REQUEST", "unknown operation " + operation);
}

}  // namespace wordloom::test
