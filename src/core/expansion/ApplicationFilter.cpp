#include "core/expansion/ApplicationFilter.h"

#include <algorithm>

namespace wordloom {

bool passesApplicationFilter(const Snippet& snippet, const std::optional<std::string>& bundleId) {
    const auto listed = [&] {
        return bundleId &&
               std::any_of(snippet.filteredApps.begin(), snippet.filteredApps.end(),
                           [&](const AppIdentifier& app) { return app.bundleId == *bundleId; });
    };
    switch (snippet.appFilterMode) {
        case AppFilterMode::all:
            return true;
        case AppFilterMode::whitelist:
            return listed();
        case AppFilterMode::blacklist:
            return !listed();
    }
    return true;
}

}  // namespace wordloom
