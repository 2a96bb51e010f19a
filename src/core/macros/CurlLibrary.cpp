#include "core/macros/CurlLibrary.h"

#include <dlfcn.h>

#include <mutex>
#include <string>

#include "core/macros/AIServiceError.h"

namespace wordloom {
namespace {

constexpr const char* kLibraryName = "libcurl.so.4";

template <typename Function>
void resolve(void* handle, const char* name, Function& into) {
    void* symbol = dlsym(handle, name);
    if (symbol == nullptr) {
        throw AIServiceError::ollamaConnectionFailed(std::string(kLibraryName) + " has no " + name +
                                                     "; install libcurl 7.88 or later");
    }
    into = reinterpret_cast<Function>(symbol);
}

CurlLibrary open() {
    // RTLD_LOCAL keeps curl's TLS libraries from resolving symbols of the app's own; the handle
    // is never closed because curl_global_cleanup is not safe while other threads may run.
    void* handle = dlopen(kLibraryName, RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        const char* reason = dlerror();
        throw AIServiceError::ollamaConnectionFailed(
            std::string("the HTTP library ") + kLibraryName + " could not be loaded (" +
            (reason ? reason : "unknown reason") + "); install libcurl4");
    }
    CurlLibrary library{};
    CURLcode (*globalInit)(long) = nullptr;
    try {
        resolve(handle, "curl_global_init", globalInit);
        resolve(handle, "curl_easy_init", library.easyInit);
        resolve(handle, "curl_easy_cleanup", library.easyCleanup);
        resolve(handle, "curl_easy_setopt", library.easySetopt);
        resolve(handle, "curl_easy_perform", library.easyPerform);
        resolve(handle, "curl_easy_getinfo", library.easyGetinfo);
        resolve(handle, "curl_easy_strerror", library.easyStrerror);
        resolve(handle, "curl_slist_append", library.slistAppend);
        resolve(handle, "curl_slist_free_all", library.slistFreeAll);
        resolve(handle, "curl_url", library.url);
        resolve(handle, "curl_url_cleanup", library.urlCleanup);
        resolve(handle, "curl_url_set", library.urlSet);
        resolve(handle, "curl_url_get", library.urlGet);
        resolve(handle, "curl_free", library.free);
    } catch (...) {
        dlclose(handle);
        throw;
    }
    if (globalInit(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
        throw AIServiceError::ollamaConnectionFailed("the HTTP library could not initialise");
    }
    return library;
}

std::mutex loadMutex;
const CurlLibrary* loaded = nullptr;

}  // namespace

const CurlLibrary& CurlLibrary::get() {
    // curl_global_init is not thread-safe, so loading is serialised; a failure leaves
    // `loaded` unset and the next call tries again.
    const std::lock_guard lock(loadMutex);
    if (loaded == nullptr) {
        static CurlLibrary library;
        library = open();
        loaded = &library;
    }
    return *loaded;
}

bool CurlLibrary::isLoaded() {
    void* handle = dlopen(kLibraryName, RTLD_NOW | RTLD_NOLOAD);
    if (handle == nullptr) {
        return false;
    }
    dlclose(handle);
    return true;
}

}  // namespace wordloom
