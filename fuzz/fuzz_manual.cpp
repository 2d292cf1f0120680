// The manual bridge's whole message path under arbitrary messages and platform events.
#include "BridgeFuzz.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return tandri::fuzzing::fuzzOneInput(tandri::fuzzing::BridgeKind::Manual, data, size);
}
