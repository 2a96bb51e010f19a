#include "core/sync/HttpTransport.h"

#include <algorithm>
#include <cctype>
#include <memory>

#include "core/base/HexDigit.h"
#include "core/macros/CurlLibrary.h"
#include "core/sync/SyncBackend.h"

namespace wordloom {
namespace {

constexpr std::size_t maximumResponseBytes = 64 * 1024 * 1024;

struct Exchange {
    HttpResponse response;
    bool tooLarge = false;
};

std::size_t collectBody(char* data, std::size_t size, std::size_t count, void* exchange) {
    auto& into = *static_cast<Exchange*>(exchange);
    const std::size_t bytes = size * count;
    if (into.response.body.size() + bytes > maximumResponseBytes) {
        into.tooLarge = true;
        return 0;
    }
    into.response.body.append(data, bytes);
    return bytes;
}

std::size_t collectHeader(char* data, std::size_t size, std::size_t count, void* exchange) {
    auto& into = *static_cast<Exchange*>(exchange);
    const std::string_view line(data, size * count);
    const auto colon = line.find(':');
    if (colon != std::string_view::npos) {
        std::string name(line.substr(0, colon));
        std::transform(name.begin(), name.end(), name.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        auto value = line.substr(colon + 1);
        while (!value.empty() && (value.front() == ' ' || value.front() == '\t')) {
            value.remove_prefix(1);
        }
        while (!value.empty() &&
               (value.back() == '\r' || value.back() == '\n' || value.back() == ' ')) {
            value.remove_suffix(1);
        }
        into.response.headers[name] = std::string(value);
    }
    return size * count;
}

}  // namespace

HttpResponse CurlHttpTransport::send(const HttpRequest& request) {
    const CurlLibrary* library = nullptr;
    try {
        library = &CurlLibrary::get();
    } catch (const std::exception& error) {
        throw SyncBackendError(std::string("HTTP is not available: ") + error.what());
    }
    const auto& lib = *library;
    std::unique_ptr<CURL, void (*)(CURL*)> handle(lib.easyInit(), lib.easyCleanup);
    if (!handle) {
        throw SyncBackendError("Couldn't create an HTTP request.");
    }
    CURL* curl = handle.get();
    curl_slist* headerList = nullptr;
    for (const auto& [name, value] : request.headers) {
        headerList = lib.slistAppend(headerList, (name + ": " + value).c_str());
    }
    std::unique_ptr<curl_slist, void (*)(curl_slist*)> headers(headerList, lib.slistFreeAll);
    Exchange exchange;
    char errorText[CURL_ERROR_SIZE] = {};
    lib.easySetopt(curl, CURLOPT_URL, request.url.c_str());
    lib.easySetopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
    lib.easySetopt(curl, CURLOPT_FOLLOWLOCATION, 0L);
    lib.easySetopt(curl, CURLOPT_NOSIGNAL, 1L);
    lib.easySetopt(curl, CURLOPT_CUSTOMREQUEST, request.method.c_str());
    if (request.method == "POST") {
        lib.easySetopt(curl, CURLOPT_POST, 1L);
        lib.easySetopt(curl, CURLOPT_POSTFIELDS, request.body.data());
        lib.easySetopt(curl, CURLOPT_POSTFIELDSIZE_LARGE,
                       static_cast<curl_off_t>(request.body.size()));
    }
    lib.easySetopt(curl, CURLOPT_HTTPHEADER, headers.get());
    lib.easySetopt(curl, CURLOPT_TIMEOUT_MS, static_cast<long>(request.timeout.count()));
    lib.easySetopt(curl, CURLOPT_CONNECTTIMEOUT_MS,
                   static_cast<long>(std::min<long long>(request.timeout.count(), 15'000)));
    lib.easySetopt(curl, CURLOPT_WRITEFUNCTION, collectBody);
    lib.easySetopt(curl, CURLOPT_WRITEDATA, &exchange);
    lib.easySetopt(curl, CURLOPT_HEADERFUNCTION, collectHeader);
    lib.easySetopt(curl, CURLOPT_HEADERDATA, &exchange);
    lib.easySetopt(curl, CURLOPT_ERRORBUFFER, errorText);
    const CURLcode code = lib.easyPerform(curl);
    if (code != CURLE_OK) {
        if (exchange.tooLarge) {
            throw SyncBackendError("The server's answer is larger than 64 MB.");
        }
        throw SyncBackendError(std::string("No answer from ") +
                               request.url.substr(0, request.url.find('?')) + ": " +
                               (errorText[0] != '\0' ? errorText : lib.easyStrerror(code)));
    }
    lib.easyGetinfo(curl, CURLINFO_RESPONSE_CODE, &exchange.response.status);
    return std::move(exchange.response);
}

std::string percentEncode(std::string_view text) {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string out;
    for (const unsigned char c : text) {
        if (std::isalnum(c) || c == '-' || c == '_' || c == '.' || c == '~') {
            out += static_cast<char>(c);
        } else {
            out += '%';
            out += digits[c >> 4];
            out += digits[c & 0xF];
        }
    }
    return out;
}

std::string percentDecode(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size()) {
            const int high = hexDigitValue(text[i + 1]);
            const int low = hexDigitValue(text[i + 2]);
            if (high >= 0 && low >= 0) {
                out += static_cast<char>(high * 16 + low);
                i += 2;
                continue;
            }
        }
        out += text[i] == '+' ? ' ' : text[i];
    }
    return out;
}

}  // namespace wordloom
