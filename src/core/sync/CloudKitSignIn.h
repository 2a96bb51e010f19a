#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "core/sync/CloudKitWebServicesBackend.h"

namespace wordloom {

struct CloudKitSignInOptions {
    /// The loopback port registered as the API token's sign-in callback
    /// (http://127.0.0.1:PORT/wordloom/ck-callback).
    int callbackPort = 0;
    std::string callbackPath = "/wordloom/ck-callback";
    /// How long the user has to sign in in the browser.
    std::chrono::seconds deadline{300};
    /// Opens the sign-in page in the user's browser; false when it could not (the address is
    /// then shown to the user instead).
    std::function<bool(const std::string& url)> openBrowser;
    /// Told the address to open by hand when the browser could not be opened.
    std::function<void(const std::string& url)> showAddress;
};

/// Signs the user in to CloudKit for this container: asks the server for the sign-in page (the
/// redirect of its AUTHENTICATION_REQUIRED answer), listens on the registered loopback callback
/// before opening it in the browser, takes the web auth token from the callback, stores it,
/// and checks it with users/current. Returns the user's record name. Throws
/// CloudKitAuthenticationError (no sign-in page, the deadline, a refused token) or
/// SyncBackendError.
std::string signInToCloudKit(CloudKitWebServicesBackend& backend, WebAuthTokenStore& tokens,
                             const CloudKitSignInOptions& options);

}  // namespace wordloom
