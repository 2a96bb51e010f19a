#pragma once

#include <filesystem>

#include "core/sync/CloudKitWebServicesBackend.h"

namespace wordloom {

/// The web auth token in a file only its owner may read (0600), for desktops without a Secret
/// Service.
class FileWebAuthTokenStore final : public WebAuthTokenStore {
  public:
    static constexpr const char* fileName = "cloudkit-web-auth-token";

    explicit FileWebAuthTokenStore(std::filesystem::path file) : file_(std::move(file)) {}

    std::optional<std::string> load() override;
    void save(const std::string& token) override;
    void clear() override;

  private:
    std::filesystem::path file_;
};

}  // namespace wordloom
