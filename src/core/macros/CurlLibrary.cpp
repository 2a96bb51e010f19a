#include "core/macros/CurlLibrary.h"

#include <dlfcn.h>

#include <mutex>
#include <string>

#include "core/macros/AIServiceError.h"

namespace wordloom {
namespace {

constexpr const char* kLibraryName = "libcurl.so.4";

class Symbols {
  public:
    Symbols(void* handle, const char* soname) : handle_(handle), soname_(soname) {}

    template <typename Function>
    void resolve(const char* name, Function& into) const {
        void* symbol = dlsym(handle_, name);
        if (symbol == nullptr) {
            throw AIServiceError::ollamaConnectionFailed(std::string("the HTTP library ") +
                                                         soname_ + " has no " + name +
                                                         "; install libcurl 7.88 or later");
        }
        into = reinterpret_cast<Function>(symbol);
    }

  private:
    void* handle_;
    const char* soname_;
};

std::mutex loadMutex;
const CurlLibrary* loaded = nullptr;

}  // namespace

CurlLibrary CurlLibrary::load(const char* soname) {
    // RTLD_LOCAL keeps curl's TLS libraries from resolving symbols of the app's own; the handle
    // is never closed because curl_global_cleanup is not safe while other threads may run.
    void* handle = dlopen(soname, RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        const char* reason = dlerror();
        throw AIServiceError::ollamaConnectionFailed(
            std::string("the HTTP library ") + soname +
            " could not be loaded: " + (reason ? reason : "unknown reason") + "; install libcurl4");
    }
    CurlLibrary library{};
    CURLcode (*globalInit)(long) = nullptr;
    try {
        const Symbols symbols(handle, soname);
        symbols.resolve("curl_global_init", globalInit);
        symbols.resolve("curl_easy_init", library.easyInit);
        symbols.resolve("curl_easy_cleanup", library.easyCleanup);
        symbols.resolve("curl_easy_setopt", library.easySetopt);
        symbols.resolve("curl_easy_perform", library.easyPerform);
        symbols.resolve("curl_easy_getinfo", library.easyGetinfo);
        symbols.resolve("curl_easy_strerror", library.easyStrerror);
        symbols.resolve("curl_slist_append", library.slistAppend);
        symbols.resolve("curl_slist_free_all", library.slistFreeAll);
        symbols.resolve("curl_url", library.url);
        symbols.resolve("curl_url_cleanup", library.urlCleanup);
        symbols.resolve("curl_url_set", library.urlSet);
        symbols.resolve("curl_url_get", library.urlGet);
        symbols.resolve("curl_free", library.free);
    } catch (...) {
        dlclose(handle);
        throw;
    }
    if (globalInit(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
        throw AIServiceError::ollamaConnectionFailed("the HTTP library could not initialise");
    }
    return library;
}

const CurlLibrary& CurlLibrary::get() {
    // curl_global_init is not thread-safe, so loading is serialised; a failure leaves
    // `loaded` unset and the next call tries again.
    const std::lock_guard lock(loadMutex);
    if (loaded == nullptr) {
        static CurlLibrary library;
        library = load(kLibraryName);
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
