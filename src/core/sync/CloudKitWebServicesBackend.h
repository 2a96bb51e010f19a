#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "core/sync/HttpTransport.h"
#include "core/sync/SyncBackend.h"

namespace wordloom {

/// Where the web auth token lives between runs (the Secret Service on Linux). Calls may block
/// briefly; implementations bound them.
class WebAuthTokenStore {
  public:
    virtual ~WebAuthTokenStore() = default;
    virtual std::optional<std::string> load() = 0;
    virtual void save(const std::string& token) = 0;
    virtual void clear() = 0;
};

/// The CloudKit account refused the request: the user must sign in (again), or cannot.
class CloudKitAuthenticationError : public SyncBackendError {
  public:
    CloudKitAuthenticationError(const std::string& message, std::string redirectURL)
        : SyncBackendError(message), redirectURL_(std::move(redirectURL)) {}
    /// Where the user signs in (from the server's answer), when it gave one.
    const std::string& redirectURL() const { return redirectURL_; }

  private:
    std::string redirectURL_;
};

struct CloudKitSettings {
    std::string container = "iCloud.com.corvelindahl.Wordloom";
    std::string environment = "production";
    std::string apiToken;
    /// Tests point it at a server on this machine.
    std::string baseURL = "https://api.apple-cloudkit.com";
    std::string zoneName = "WordloomZone";
    /// Images above this stay on this machine (the documented upload limit).
    std::size_t assetLimitBytes = 15 * 1024 * 1024;
    /// Each request, connection to last byte: a server that hangs costs a sync this long, and
    /// never the app (requests run in the background).
    std::chrono::milliseconds requestTimeout{60'000};
};

/// The private database through CloudKit Web Services, the documented REST interface: the
/// custom zone, the zone's change feed, records/modify with change tags, lookups, and image
/// assets. Every request carries the API token and the newest web auth token (each answer may
/// carry a replacement, which is stored before the next request); requests go one at a time.
///
/// Errors: AUTHENTICATION_REQUIRED and AUTHENTICATION_FAILED throw CloudKitAuthenticationError
/// (sign in again), THROTTLED and TRY_AGAIN_LATER throw SyncBackendError with `retryAfter`,
/// anything else of the whole request throws SyncBackendError with the server's reason.
class CloudKitWebServicesBackend final : public SyncBackend {
  public:
    CloudKitWebServicesBackend(CloudKitSettings settings, std::shared_ptr<HttpTransport> transport,
                               std::shared_ptr<WebAuthTokenStore> tokens);

    std::string name() const override { return "cloudkit"; }
    void ensureZone() override;
    CollectedChanges fetchChanges(const std::optional<std::string>& token) override;
    std::vector<SyncWriteResult> modify(const std::vector<SyncRecord>& saves,
                                        const std::vector<SyncRecordId>& deletions) override;
    std::optional<SyncRecord> lookup(const SyncRecordId& record) override;

    /// Sends `operation` to the private database (public for "users/current") and returns the
    /// answer's JSON text, with the errors above. GET when `body` is empty.
    std::string call(const std::string& database, const std::string& operation,
                     const std::string& body);

  private:
    std::string url(const std::string& database, const std::string& operation);
    SyncRecord decodeRecord(JsonElement element, bool downloadAssets);
    std::string uploadAsset(const SyncRecord& record, const std::string& fieldName,
                            const Bytes& bytes);

    CloudKitSettings settings_;
    std::shared_ptr<HttpTransport> transport_;
    std::shared_ptr<WebAuthTokenStore> tokens_;
    std::mutex requestMutex_;
};

/// The error message for a whole-request failure answer (status and body), or nothing for a
/// success. Exposed for tests.
std::optional<std::string> cloudKitErrorMessage(long status, const std::string& body);

}  // namespace wordloom
