// Feeds arbitrary bytes to the decoders of what the outside sends back: a local Ollama server's
// answer and the script helper's replies (the helper runs untrusted code, so its channel is
// untrusted too). Neither may crash, and a decoded reply always carries a result.
#include "FuzzSupport.h"
#include "core/macros/AIServiceError.h"
#include "core/macros/JSRunnerProtocol.h"
#include "core/macros/OllamaMessages.h"

using namespace wordloom;

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const std::string_view text = fuzz::asText(data, size);
    try {
        OllamaGenerateResponse::decode(text);
    } catch (const OllamaDecodingError&) {
    }
    if (const auto reply = decodeJSRunnerReply(text)) {
        FUZZ_CHECK(reply->output || reply->errorMessage);
    }
    isJSRunnerHello(text);
    return 0;
}
