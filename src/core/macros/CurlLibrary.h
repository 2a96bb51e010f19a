#pragma once

#include <curl/curl.h>

namespace wordloom {

/// The libcurl calls the AI transport makes, resolved from libcurl.so.4 on first use. libcurl
/// drags in TLS, Kerberos and LDAP libraries worth several megabytes of resident pages, and
/// only AI macros need it, so the app must not link it at start-up.
struct CurlLibrary {
    CURL* (*easyInit)();
    void (*easyCleanup)(CURL*);
    CURLcode (*easySetopt)(CURL*, CURLoption, ...);
    CURLcode (*easyPerform)(CURL*);
    CURLcode (*easyGetinfo)(CURL*, CURLINFO, ...);
    const char* (*easyStrerror)(CURLcode);
    curl_slist* (*slistAppend)(curl_slist*, const char*);
    void (*slistFreeAll)(curl_slist*);
    CURLU* (*url)();
    void (*urlCleanup)(CURLU*);
    CURLUcode (*urlSet)(CURLU*, CURLUPart, const char*, unsigned int);
    CURLUcode (*urlGet)(const CURLU*, CURLUPart, char**, unsigned int);
    void (*free)(void*);

    /// Loads and initialises libcurl once per process (later calls return the same table).
    /// Throws AIServiceError ollamaConnectionFailed naming the library when it is missing or
    /// lacks a call; a later call tries again, so installing it fixes the next request.
    static const CurlLibrary& get();

    /// Opens `soname` and resolves the calls, with the errors get() throws. get() loads
    /// libcurl.so.4 this way once.
    static CurlLibrary load(const char* soname);

    /// Whether libcurl is mapped into this process, without loading it.
    static bool isLoaded();
};

}  // namespace wordloom
