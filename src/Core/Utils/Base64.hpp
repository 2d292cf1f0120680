// Base64 text to bytes.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace tandri {

/// Decodes standard Base64, skipping every character outside its alphabet (line breaks, spaces,
/// padding, anything else); trailing bits that make no whole byte are dropped.
std::vector<std::uint8_t> base64DecodeIgnoringUnknown(std::string_view text);

}  // namespace tandri
