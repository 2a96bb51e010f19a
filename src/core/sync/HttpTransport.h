#pragma once

#include <chrono>
#include <map>
#include <string>

namespace wordloom {

struct HttpRequest {
    std::string method = "POST";
    std::string url;
    std::map<std::string, std::string> headers;
    std::string body;
    /// The whole exchange, connection to last byte.
    std::chrono::milliseconds timeout{60'000};
};

struct HttpResponse {
    long status = 0;
    /// Header names lower-cased.
    std::map<std::string, std::string> headers;
    std::string body;
};

/// Sends one HTTP request. Throws SyncBackendError when no answer comes (no network, a refused
/// connection, the deadline); an answer with any status is returned.
class HttpTransport {
  public:
    virtual ~HttpTransport() = default;
    virtual HttpResponse send(const HttpRequest& request) = 0;
};

/// HTTP over libcurl, loaded on first use. No proxy is bypassed and no redirect followed;
/// answers over 64 MB are refused.
class CurlHttpTransport final : public HttpTransport {
  public:
    HttpResponse send(const HttpRequest& request) override;
};

/// `text` with everything but unreserved characters percent-encoded (for query values: web
/// auth tokens hold '+', '/' and '=').
std::string percentEncode(std::string_view text);
/// Decodes %XX escapes and '+' (as a space, in query strings). Malformed escapes stay as they
/// are.
std::string percentDecode(std::string_view text);

}  // namespace wordloom
