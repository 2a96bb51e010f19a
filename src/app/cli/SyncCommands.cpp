#include "app/cli/SyncCommands.h"

#include <sys/wait.h>
#include <unistd.h>
#include <ostream>

#include <thread>

#include "app/cli/CommandErrors.h"
#include "app/cli/LibraryCommandSupport.h"
#include "core/base/Iso8601.h"
#include "core/base/JsonWriter.h"
#include "core/library/LibraryCoding.h"
#include "core/sync/CloudKitSignIn.h"
#include "core/sync/SyncConfiguration.h"
#include "core/sync/iCloudSyncService.h"
#include "platform/x11/SecretServiceTokenStore.h"

namespace wordloom::cli {
namespace {

using Kind = OptionSpec::Kind;

/// A sync pass gives up after this long; the outbox keeps what did not go out.
constexpr auto passDeadline = std::chrono::seconds(120);
/// How long to wait for another process's pass to finish before saying so.
constexpr auto lockWait = std::chrono::seconds(30);

/// CloudKit's web auth token in the desktop's Secret Service (a 0600 file beside defaults.json
/// when none answers).
std::shared_ptr<WebAuthTokenStore> tokenStoreFor(const SyncConfiguration& configuration,
                                                 const UserDefaults& defaults) {
    return std::make_shared<SecretServiceTokenStore>(
        configuration.container, configuration.environment, SyncConfiguration::tokenFile(defaults));
}

struct SyncSession {
    std::unique_ptr<LibrarySession> library;
    SyncConfiguration configuration;
    std::unique_ptr<iCloudSyncService> service;
    std::optional<std::string> backendError;
};

SyncSession openSync(const CommandInvocation& invocation, const ParsedArguments& arguments) {
    SyncSession session;
    session.library = openLibrary(invocation, arguments);
    auto& library = *session.library;
    session.configuration = SyncConfiguration::load(library.defaults());
    session.service = std::make_unique<iCloudSyncService>(
        library.executor(), library.snippets(), library.versions(), library.images(),
        library.defaults(), library.persistence().dataFolder());
    try {
        session.service->setBackend(session.configuration.makeBackend(
            library.defaults(), tokenStoreFor(session.configuration, library.defaults())));
    } catch (const SyncBackendError& error) {
        session.backendError = error.what();
    }
    return session;
}

std::string statusText(const SyncStatus& status) {
    switch (status.kind) {
        case SyncStatus::Kind::error:
            return "error";
        case SyncStatus::Kind::idle:
            return "idle";
        case SyncStatus::Kind::syncing:
            return "syncing";
        case SyncStatus::Kind::disabled:
            return "disabled";
    }
    return "disabled";
}

int syncStatus(CommandInvocation& invocation, const ParsedArguments& arguments) {
    expectPositionals(arguments, 1);
    auto session = openSync(invocation, arguments);
    const auto& service = *session.service;
    const bool enabled = session.library->settings().settings().iCloudSyncEnabled;
    const auto status =
        session.backendError ? std::string("error") : statusText(service.syncStatus());
    const auto lastSync = service.lastSyncDate() ? formatIso8601(*service.lastSyncDate()) : "";
    const auto& outbox = service.outboxState();
    if (arguments.has("json")) {
        JsonWriter w;
        w.beginObject();
        w.field("backend", session.configuration.backendName());
        w.field("changesQueued", static_cast<std::int64_t>(outbox.changes.size()));
        w.field("conflictResolutionStrategy", rawValue(service.conflictResolutionStrategy()));
        w.field("deletionsQueued", static_cast<std::int64_t>(outbox.deletions.size()));
        w.field("enabled", enabled);
        if (session.configuration.backend == SyncConfiguration::Backend::folder) {
            w.field("folder", session.configuration.folder.string());
        }
        if (!lastSync.empty()) {
            w.field("lastSyncDate", lastSync);
        }
        if (session.backendError) {
            w.field("message", *session.backendError);
        } else if (service.journalMessage()) {
            w.field("message", *service.journalMessage());
        }
        if (service.outboxPersistenceError()) {
            w.field("outboxPersistenceError", *service.outboxPersistenceError());
        }
        w.field("pendingConflicts", static_cast<std::int64_t>(service.pendingConflicts().size()));
        w.field("status", status);
        w.endObject();
        invocation.out() << w.take() << "\n";
        return 0;
    }
    auto& out = invocation.out();
    out << "Sync: " << (enabled ? "on" : "off") << "\n";
    out << "Backend: " << session.configuration.backendName();
    if (session.configuration.backend == SyncConfiguration::Backend::folder) {
        out << " (" << session.configuration.folder.string() << ")";
    } else if (session.configuration.backend == SyncConfiguration::Backend::cloudKit) {
        out << " (" << session.configuration.container << ", " << session.configuration.environment
            << ")";
    }
    out << "\nStatus: " << status << "\n";
    if (session.backendError) {
        out << "  " << *session.backendError << "\n";
    }
    out << "Last sync: " << (lastSync.empty() ? "never" : lastSync) << "\n";
    out << "Queued: " << outbox.changes.size() << " changes, " << outbox.deletions.size()
        << " deletions\n";
    out << "Pending conflicts: " << service.pendingConflicts().size() << "\n";
    out << "Conflicts are settled by: " << rawValue(service.conflictResolutionStrategy()) << "\n";
    if (service.journalMessage()) {
        out << *service.journalMessage() << "\n";
    }
    if (service.outboxPersistenceError()) {
        out << *service.outboxPersistenceError() << "\n";
    }
    return 0;
}

int syncNow(CommandInvocation& invocation, const ParsedArguments& arguments) {
    expectPositionals(arguments, 1);
    auto session = openSync(invocation, arguments);
    if (!session.library->settings().settings().iCloudSyncEnabled ||
        session.configuration.backend == SyncConfiguration::Backend::none) {
        throw CommandError(
            "Sync is off. Set it up with \u201cwordloom sync setup folder PATH\u201d.");
    }
    if (session.backendError) {
        throw CommandError(*session.backendError);
    }
    session.library->requireWritableLibrary();
    auto& executor = session.library->executor();
    std::optional<SyncPassReport> report;
    const auto started = std::chrono::steady_clock::now();
    while (true) {
        report.reset();
        session.service->syncNow([&](const SyncPassReport& r) { report = r; });
        if (!executor.runUntil([&] { return report.has_value(); }, passDeadline)) {
            throw CommandError("The sync did not finish within " +
                               std::to_string(passDeadline.count()) +
                               " seconds; what did not go out stays queued.");
        }
        const bool busy = !report->succeeded && report->error.starts_with("Another Wordloom");
        if (!busy || std::chrono::steady_clock::now() - started > lockWait) {
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
    }
    session.library->save();
    for (const auto& warning : report->warnings) {
        invocation.err() << warning << "\n";
    }
    if (!report->succeeded) {
        throw CommandError(report->error);
    }
    if (arguments.has("json")) {
        JsonWriter w;
        w.beginObject();
        w.field("conflictsSettled", report->conflictsSettled);
        w.field("deletedLocally", report->deletedLocally);
        w.field("deletedRemotely", report->deletedRemotely);
        w.field("downloaded", report->downloaded);
        w.field("pendingConflicts",
                static_cast<std::int64_t>(session.service->pendingConflicts().size()));
        w.field("uploaded", report->uploaded);
        w.endObject();
        invocation.out() << w.take() << "\n";
        return 0;
    }
    invocation.out() << "Synced: " << report->uploaded << " sent, " << report->deletedRemotely
                     << " deleted there, " << report->downloaded << " received, "
                     << report->deletedLocally << " deleted here, " << report->conflictsSettled
                     << " conflicts settled.\n";
    if (const auto pending = session.service->pendingConflicts().size(); pending > 0) {
        invocation.out() << pending << (pending == 1 ? " conflict waits" : " conflicts wait")
                         << " for you: wordloom sync conflicts\n";
    }
    return 0;
}

int syncConflicts(CommandInvocation& invocation, const ParsedArguments& arguments) {
    expectPositionals(arguments, 1);
    auto session = openSync(invocation, arguments);
    const auto& conflicts = session.service->pendingConflicts();
    if (arguments.has("json")) {
        invocation.out() << encodeSyncConflicts(conflicts) << "\n";
        return 0;
    }
    if (conflicts.empty()) {
        invocation.out() << "No sync conflicts.\n";
        return 0;
    }
    for (const auto& conflict : conflicts) {
        invocation.out() << conflict.snippetId.toString() << "  " << rawValue(conflict.conflictType)
                         << "\n";
        const auto side = [&](const char* name, const std::optional<Snippet>& snippet) {
            invocation.out() << "  " << name << ": ";
            if (!snippet) {
                invocation.out() << "(deleted)\n";
                return;
            }
            invocation.out() << snippet->abbreviation << "  modified "
                             << formatIso8601(snippet->modifiedAt) << "\n    " << snippet->content
                             << "\n";
        };
        side("here ", conflict.localSnippet);
        side("there", conflict.remoteSnippet);
    }
    invocation.out() << "Keep one side with: wordloom sync resolve ID --keep local|remote\n";
    return 0;
}

int syncResolve(CommandInvocation& invocation, const ParsedArguments& arguments) {
    expectPositionals(arguments, 2);
    const auto keep = arguments.value("keep");
    if (!keep || (*keep != "local" && *keep != "remote")) {
        throw UsageError("--keep takes local or remote");
    }
    const auto id = Uuid::parse(arguments.positionals()[1]);
    if (!id) {
        throw CommandError("\u201c" + arguments.positionals()[1] + "\u201d is not a snippet id.");
    }
    auto session = openSync(invocation, arguments);
    session.library->requireWritableLibrary();
    try {
        session.service->resolveConflict(*id, *keep == "local");
    } catch (const std::exception& error) {
        throw CommandError(error.what());
    }
    session.library->save();
    invocation.out() << "Kept the " << (*keep == "local" ? "local" : "other copy's")
                     << " version; the other one is in the snippet's version history. It goes "
                        "out with the next sync.\n";
    return 0;
}

void enableSync(SyncSession& session, const SyncConfiguration& configuration) {
    configuration.save(session.library->defaults());
    session.library->settings().update([](AppSettings& s) { s.iCloudSyncEnabled = true; });
    session.library->save();
}

int syncSetup(CommandInvocation& invocation, const ParsedArguments& arguments) {
    if (arguments.positionals().size() < 2) {
        throw UsageError("missing backend: folder PATH or cloudkit");
    }
    const auto& backend = arguments.positionals()[1];
    SyncConfiguration configuration;
    if (backend == "folder") {
        expectPositionals(arguments, 3);
        std::error_code failure;
        const auto folder = std::filesystem::absolute(arguments.positionals()[2], failure);
        if (failure || !std::filesystem::is_directory(folder, failure)) {
            throw CommandError("The folder " + arguments.positionals()[2] +
                               " does not exist. Make it (or let your file-sync tool make it) "
                               "first.");
        }
        configuration.backend = SyncConfiguration::Backend::folder;
        configuration.folder = folder;
    } else if (backend == "cloudkit") {
        expectPositionals(arguments, 2);
        const auto container = arguments.value("container");
        const auto token = arguments.value("api-token");
        if (!container || !token) {
            throw UsageError("sync setup cloudkit needs --container and --api-token");
        }
        if (!container->starts_with("iCloud.")) {
            throw CommandError("A CloudKit container id starts with \u201ciCloud.\u201d.");
        }
        const auto environment = arguments.value("environment").value_or("production");
        if (environment != "development" && environment != "production") {
            throw UsageError("--environment takes development or production");
        }
        const auto port = arguments.value("callback-port").value_or("");
        const int portNumber = std::atoi(port.c_str());
        if (portNumber <= 0 || portNumber > 65535) {
            throw UsageError(
                "sync setup cloudkit needs --callback-port, the port of the API token's sign-in "
                "callback (http://127.0.0.1:PORT/wordloom/ck-callback)");
        }
        configuration.backend = SyncConfiguration::Backend::cloudKit;
        configuration.container = *container;
        configuration.apiToken = *token;
        configuration.environment = environment;
        configuration.callbackPort = portNumber;
    } else {
        throw UsageError("unknown backend \u201c" + backend + "\u201d (folder or cloudkit)");
    }
    auto session = openSync(invocation, arguments);
    session.library->requireWritableLibrary();
    enableSync(session, configuration);
    if (auto strategy = arguments.value("strategy")) {
        const auto value = enumFromRaw<ConflictResolutionStrategy>(*strategy);
        if (!value) {
            throw UsageError("--strategy takes localWins, remoteWins, mostRecent or merge");
        }
        session.service->setConflictResolutionStrategy(*value);
    }
    invocation.out() << "Sync is on, through " << configuration.backendName();
    if (configuration.backend == SyncConfiguration::Backend::folder) {
        invocation.out()
            << " " << configuration.folder.string()
            << ". Run \u201cwordloom sync now\u201d, or let the app sync on its own.\n";
    } else {
        invocation.out() << " (" << configuration.container << ", " << configuration.environment
                         << "). Sign in with \u201cwordloom sync sign-in\u201d.\n";
    }
    return 0;
}

/// Opens `url` in the user's browser with xdg-open, waiting at most a few seconds for it.
bool openInBrowser(const std::string& url) {
    const pid_t child = fork();
    if (child < 0) {
        return false;
    }
    if (child == 0) {
        execlp("xdg-open", "xdg-open", url.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    for (int waited = 0; waited < 100; ++waited) {
        int status = 0;
        const pid_t done = waitpid(child, &status, WNOHANG);
        if (done == child) {
            return WIFEXITED(status) && WEXITSTATUS(status) == 0;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return true;  // still starting the browser: it has the address
}

int syncSignIn(CommandInvocation& invocation, const ParsedArguments& arguments) {
    expectPositionals(arguments, 1);
    auto session = openLibrary(invocation, arguments);
    const auto configuration = SyncConfiguration::load(session->defaults());
    if (configuration.backend != SyncConfiguration::Backend::cloudKit) {
        throw CommandError(
            "Sync is not set up for CloudKit. Set it up with \u201cwordloom sync "
            "setup cloudkit --container ID --api-token TOKEN --callback-port "
            "PORT\u201d.");
    }
    const auto tokens = tokenStoreFor(configuration, session->defaults());
    CloudKitWebServicesBackend backend(configuration.cloudKitSettings(),
                                       std::make_shared<CurlHttpTransport>(), tokens);
    CloudKitSignInOptions options;
    options.callbackPort = configuration.callbackPort;
    options.openBrowser = [&](const std::string& url) {
        invocation.out() << "Sign in to iCloud in your browser...\n" << std::flush;
        return openInBrowser(url);
    };
    options.showAddress = [&](const std::string& url) {
        invocation.out() << "Open this address in your browser to sign in:\n  " << url << "\n"
                         << std::flush;
    };
    try {
        const auto user = signInToCloudKit(backend, *tokens, options);
        invocation.out() << "Signed in to iCloud (" << user << ").\n";
    } catch (const SyncBackendError& error) {
        throw CommandError(error.what());
    }
    return 0;
}

int syncOff(CommandInvocation& invocation, const ParsedArguments& arguments) {
    expectPositionals(arguments, 1);
    auto session = openLibrary(invocation, arguments);
    session->requireWritableLibrary();
    session->settings().update([](AppSettings& s) { s.iCloudSyncEnabled = false; });
    session->save();
    invocation.out() << "Sync is off. Queued changes stay queued for when it is on again.\n";
    return 0;
}

int syncStrategy(CommandInvocation& invocation, const ParsedArguments& arguments) {
    expectPositionals(arguments, 2);
    const auto value = enumFromRaw<ConflictResolutionStrategy>(arguments.positionals()[1]);
    if (!value) {
        throw UsageError("the strategy is one of localWins, remoteWins, mostRecent, merge");
    }
    auto session = openSync(invocation, arguments);
    session.service->setConflictResolutionStrategy(*value);
    invocation.out() << "Conflicts are now settled by " << rawValue(*value) << ".\n";
    return 0;
}

int syncCommand(CommandInvocation& invocation) {
    const auto arguments = invocation.parse({{"json", Kind::flag},
                                             {"keep", Kind::value},
                                             {"container", Kind::value},
                                             {"api-token", Kind::value},
                                             {"environment", Kind::value},
                                             {"strategy", Kind::value},
                                             {"callback-port", Kind::value}});
    if (arguments.positionals().empty()) {
        throw UsageError("missing action");
    }
    const auto& action = arguments.positionals()[0];
    if (arguments.has("json") && action != "status" && action != "now" && action != "conflicts") {
        throw UsageError("--json is for sync status, sync now and sync conflicts");
    }
    if (action == "status") {
        return syncStatus(invocation, arguments);
    }
    if (action == "now") {
        return syncNow(invocation, arguments);
    }
    if (action == "conflicts") {
        return syncConflicts(invocation, arguments);
    }
    if (action == "resolve") {
        return syncResolve(invocation, arguments);
    }
    if (action == "setup") {
        return syncSetup(invocation, arguments);
    }
    if (action == "off") {
        return syncOff(invocation, arguments);
    }
    if (action == "strategy") {
        return syncStrategy(invocation, arguments);
    }
    if (action == "sign-in") {
        return syncSignIn(invocation, arguments);
    }
    throw UsageError("unknown action \u201c" + action + "\u201d");
}

}  // namespace

void registerSyncCommands(CommandRegistry& registry) {
    registry.add({"sync",
                  "wordloom sync status [--json] | now [--json] | conflicts [--json] | "
                  "resolve ID --keep local|remote | setup folder PATH [--strategy S] | "
                  "setup cloudkit --container ID --api-token TOKEN --callback-port PORT "
                  "[--environment development|production] | sign-in | strategy S | off",
                  "Keep the library in step with other machines, through a shared folder or "
                  "CloudKit.",
                  syncCommand});
}

}  // namespace wordloom::cli
