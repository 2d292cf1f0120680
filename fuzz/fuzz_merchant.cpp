// The merchant bridge's whole message path under arbitrary messages and platform events.
#include <algorithm>

#include "BridgeFuzz.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto* text = reinterpret_cast<const char*>(data);
    std::size_t cut = 0;
    while (cut < size && text[cut] != '\0') ++cut;
    FuzzedDataProvider input(data + std::min(size, cut + 1), size - std::min(size, cut + 1));
    tandri::fuzzing::BridgeFuzz(tandri::fuzzing::BridgeKind::Merchant, input)
        .run(std::string_view(text, cut));
    return 0;
}
