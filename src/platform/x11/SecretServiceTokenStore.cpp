#include "platform/x11/SecretServiceTokenStore.h"

#include <libsecret/secret.h>

#include "core/sync/FileWebAuthTokenStore.h"

namespace wordloom {
namespace {

const SecretSchema* tokenSchema() {
    static const SecretSchema schema = {"io.wordloom.CloudKitWebAuthToken",
                                        SECRET_SCHEMA_NONE,
                                        {
                                            {"container", SECRET_SCHEMA_ATTRIBUTE_STRING},
                                            {"environment", SECRET_SCHEMA_ATTRIBUTE_STRING},
                                        },
                                        0,
                                        nullptr,
                                        nullptr,
                                        nullptr,
                                        nullptr,
                                        nullptr,
                                        nullptr,
                                        nullptr};
    return &schema;
}

}  // namespace

/// One asynchronous libsecret call, run on a main context of its own until it answers or the
/// deadline passes (then it is cancelled).
struct SecretServiceTokenStore::Call {
    enum class Kind { lookup, store, clear } kind = Kind::lookup;
    std::string token;
    bool done = false;
    bool succeeded = false;
    std::optional<std::string> found;
    std::string error;
};

SecretServiceTokenStore::SecretServiceTokenStore(std::string container, std::string environment,
                                                 std::filesystem::path fallbackFile,
                                                 std::chrono::milliseconds deadline)
    : container_(std::move(container)),
      environment_(std::move(environment)),
      fallback_(std::make_unique<FileWebAuthTokenStore>(std::move(fallbackFile))),
      deadline_(deadline) {}

SecretServiceTokenStore::~SecretServiceTokenStore() = default;

bool SecretServiceTokenStore::run(Call& call) {
    GMainContext* context = g_main_context_new();
    g_main_context_push_thread_default(context);
    GCancellable* cancellable = g_cancellable_new();
    const auto finished = [](GObject*, GAsyncResult* result, gpointer data) {
        auto& pending = *static_cast<Call*>(data);
        GError* error = nullptr;
        switch (pending.kind) {
            case Call::Kind::lookup:
                if (gchar* value = secret_password_lookup_finish(result, &error)) {
                    pending.found = std::string(value);
                    secret_password_free(value);
                }
                break;
            case Call::Kind::store:
                secret_password_store_finish(result, &error);
                break;
            case Call::Kind::clear:
                secret_password_clear_finish(result, &error);
                break;
        }
        pending.succeeded = error == nullptr;
        if (error) {
            pending.error = error->message;
            g_error_free(error);
        }
        pending.done = true;
    };
    switch (call.kind) {
        case Call::Kind::lookup:
            secret_password_lookup(tokenSchema(), cancellable, finished, &call, "container",
                                   container_.c_str(), "environment", environment_.c_str(),
                                   nullptr);
            break;
        case Call::Kind::store:
            secret_password_store(tokenSchema(), SECRET_COLLECTION_DEFAULT,
                                  "Wordloom CloudKit sign-in", call.token.c_str(), cancellable,
                                  finished, &call, "container", container_.c_str(), "environment",
                                  environment_.c_str(), nullptr);
            break;
        case Call::Kind::clear:
            secret_password_clear(tokenSchema(), cancellable, finished, &call, "container",
                                  container_.c_str(), "environment", environment_.c_str(), nullptr);
            break;
    }
    const auto until = std::chrono::steady_clock::now() + deadline_;
    while (!call.done && std::chrono::steady_clock::now() < until) {
        g_main_context_iteration(context, FALSE);
        if (!call.done) {
            g_usleep(2000);
        }
    }
    if (!call.done) {
        // A locked keyring waiting for its password, or a service that never answers.
        g_cancellable_cancel(cancellable);
        while (!call.done) {
            g_main_context_iteration(context, TRUE);
        }
        call.succeeded = false;
        call.error =
            "the Secret Service did not answer within " + std::to_string(deadline_.count()) + " ms";
    }
    g_object_unref(cancellable);
    g_main_context_pop_thread_default(context);
    g_main_context_unref(context);
    return call.succeeded;
}

void SecretServiceTokenStore::noteFallback(const std::string& why) {
    if (!toldAboutFallback_) {
        toldAboutFallback_ = true;
        logger_.info("No Secret Service (" + why +
                     "): the CloudKit sign-in is kept in a file only you can read, beside "
                     "defaults.json");
    }
}

std::optional<std::string> SecretServiceTokenStore::load() {
    std::lock_guard lock(mutex_);
    Call call;
    if (run(call)) {
        usedSecretService_ = true;
        // A token from before the keyring was there still counts.
        return call.found ? call.found : fallback_->load();
    }
    usedSecretService_ = false;
    noteFallback(call.error);
    return fallback_->load();
}

void SecretServiceTokenStore::save(const std::string& token) {
    std::lock_guard lock(mutex_);
    Call call;
    call.kind = Call::Kind::store;
    call.token = token;
    if (run(call)) {
        usedSecretService_ = true;
        fallback_->clear();  // the keyring holds it now; no copy in a file
        return;
    }
    usedSecretService_ = false;
    noteFallback(call.error);
    fallback_->save(token);
}

void SecretServiceTokenStore::clear() {
    std::lock_guard lock(mutex_);
    Call call;
    call.kind = Call::Kind::clear;
    usedSecretService_ = run(call);
    fallback_->clear();
}

}  // namespace wordloom
