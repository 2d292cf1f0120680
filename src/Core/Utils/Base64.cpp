#include "Core/Utils/Base64.hpp"

extern "C" {
#include <b64/cdecode.h>
#include <b64/cencode.h>
}

#include <algorithm>

#include <climits>

namespace tandri {

std::vector<std::uint8_t> base64DecodeIgnoringUnknown(std::string_view text) {
    // Four characters make at most three bytes.
    std::vector<std::uint8_t> out(text.size() / 4 * 3 + 3);
    base64_decodestate state;
    base64_init_decodestate(&state);
    std::size_t written = 0;
    // The decoder takes int lengths: feed it in pieces.
    constexpr std::size_t kPiece = static_cast<std::size_t>(INT_MAX / 4) * 4;
    for (std::size_t at = 0; at < text.size(); at += kPiece) {
        const std::size_t length = std::min(kPiece, text.size() - at);
        written += static_cast<std::size_t>(
            base64_decode_block(text.data() + at, static_cast<int>(length),
                                reinterpret_cast<char*>(out.data() + written), &state));
    }
    out.resize(written);
    return out;
}

std::string base64Encode(const std::vector<std::uint8_t>& data) {
    std::string out(data.size() / 3 * 4 + data.size() / 54 + 16, '\0');
    base64_encodestate state;
    base64_init_encodestate(&state);
    std::size_t written = 0;
    constexpr std::size_t kPiece = static_cast<std::size_t>(INT_MAX / 4);
    for (std::size_t at = 0; at < data.size(); at += kPiece) {
        const std::size_t length = std::min(kPiece, data.size() - at);
        written += static_cast<std::size_t>(
            base64_encode_block(reinterpret_cast<const char*>(data.data() + at),
                                static_cast<int>(length), out.data() + written, &state));
    }
    written += static_cast<std::size_t>(base64_encode_blockend(out.data() + written, &state));
    out.resize(written);
    // The encoder breaks its output into lines; one line is wanted.
    std::erase(out, '\n');
    return out;
}

}  // namespace tandri
