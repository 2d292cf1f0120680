// Base64 text to bytes and back.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tandri {

/// Decodes standard Base64, skipping every character outside its alphabet (line breaks, spaces,
/// padding, anything else); trailing bits that make no whole byte are dropped.
std::vector<std::uint8_t> base64DecodeIgnoringUnknown(std::string_view text);
/// Standard Base64 with padding, on one line.
std::string base64Encode(const std::vector<std::uint8_t>& data);

}  // namespace tandri
