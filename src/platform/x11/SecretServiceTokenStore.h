#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "core/base/Log.h"
#include "core/sync/CloudKitWebServicesBackend.h"

namespace wordloom {

/// CloudKit's web auth token in the desktop's Secret Service (GNOME Keyring, KWallet's Secret
/// Service, KeePassXC), stored per container and environment. Every call has a deadline: a
/// locked keyring waiting for a password prompt, or a service that does not answer, never holds
/// sync up. When no Secret Service answers, the token goes to a file only the user can read
/// (`fallbackFile`), and the log says once where it is.
class SecretServiceTokenStore final : public WebAuthTokenStore {
  public:
    SecretServiceTokenStore(std::string container, std::string environment,
                            std::filesystem::path fallbackFile,
                            std::chrono::milliseconds deadline = std::chrono::seconds(3));
    ~SecretServiceTokenStore() override;

    std::optional<std::string> load() override;
    void save(const std::string& token) override;
    void clear() override;

    /// Whether the last call reached a Secret Service.
    bool usedSecretService() const { return usedSecretService_; }

  private:
    struct Call;
    bool run(Call& call);
    void noteFallback(const std::string& why);

    std::string container_;
    std::string environment_;
    std::unique_ptr<WebAuthTokenStore> fallback_;
    std::chrono::milliseconds deadline_;
    std::mutex mutex_;
    bool usedSecretService_ = false;
    bool toldAboutFallback_ = false;
    Logger logger_{"SecretServiceTokenStore"};
};

}  // namespace wordloom
