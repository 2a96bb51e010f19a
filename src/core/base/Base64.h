#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace wordloom {

using Bytes = std::vector<std::uint8_t>;

/// Standard base64 with padding, as JSON files carry bytes.
std::string encodeBase64(const Bytes& bytes);

/// Reads standard base64; line breaks and spaces are ignored. Nothing for invalid input.
std::optional<Bytes> decodeBase64(std::string_view text);

}  // namespace wordloom
