#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace wordloom::test {

/// A CloudKit Web Services private database on a loopback port, as far as Wordloom uses it:
/// users/current, zones/lookup, zones/modify, changes/zone with sync tokens, records/modify
/// (create, update with change tags, forceDelete), records/lookup, assets/upload with upload
/// and download addresses. It checks the API token, accepts only the newest web auth token it
/// handed out (each answer carries a new one), and can throttle, demand sign-in, or hang.
class FakeCloudKitServer {
  public:
    struct StoredRecord {
        std::string recordType;
        std::string changeTag;
        std::map<std::string, std::string> fields;  // name -> the field's JSON (type and value)
        bool deleted = false;
        std::int64_t changeSequence = 0;
    };

    FakeCloudKitServer(std::string apiToken, std::string container);
    ~FakeCloudKitServer();

    std::string baseURL() const { return "http://127.0.0.1:" + std::to_string(port_); }
    /// A web auth token the server accepts, as a finished sign-in would give one.
    std::string issueToken();
    std::string latestToken() const;

    bool zoneExists() const;
    std::optional<StoredRecord> record(const std::string& name) const;
    std::size_t recordCount() const;
    /// Another device's edit: sets one field of an existing record as a STRING and gives the
    /// record a new change tag.
    void editField(const std::string& name, const std::string& field, const std::string& text);

    /// The next request to the private database answers THROTTLED with this retryAfter.
    void throttleNext(int seconds);
    /// Requests are read and never answered until this is turned off.
    void setHanging(bool hanging);
    /// Forget every token handed out: the next request needs a sign-in.
    void expireTokens();
    /// Runs (on the server's thread) before the next records/modify is handled.
    void beforeNextModify(std::function<void()> hook);
    /// How many requests each operation got.
    int requestCount(const std::string& operation) const;

  private:
    void serve();
    void handle(int connection);
    std::string route(const std::string& method, const std::string& path,
                      const std::map<std::string, std::string>& query, const std::string& body,
                      int& status, std::string& contentType);
    std::string recordJson(const std::string& name, const StoredRecord& record) const;

    std::string apiToken_;
    std::string container_;
    int listenFd_ = -1;
    int port_ = 0;
    std::thread thread_;
    std::atomic<bool> stopping_{false};
    std::atomic<bool> hanging_{false};
    mutable std::mutex mutex_;
    std::set<std::string> validTokens_;
    std::string latestToken_;
    int tokenCounter_ = 0;
    bool zoneExists_ = false;
    std::map<std::string, StoredRecord> records_;
    std::int64_t sequence_ = 0;
    int tagCounter_ = 0;
    std::map<std::string, std::string> assets_;  // receipt or upload id -> bytes
    int assetCounter_ = 0;
    int throttleSeconds_ = 0;
    std::function<void()> beforeModify_;
    std::map<std::string, int> requestCounts_;
};

}  // namespace wordloom::test
