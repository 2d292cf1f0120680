// Keyed archives of stored values: a binary property list holding {"$archiver", "$version",
// "$top": {"root": value}}. Null is kept as the UID 0 (property lists have no null), so every
// value the stores hold comes back with its type: strings, booleans, integers and floats,
// null, arrays, dictionaries (in order), bytes and dates.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "tandri/Value.hpp"

namespace tandri {

class KeyedArchive {
  public:
    /// The archive of `value`; absent for closures, images and other objects, which no store
    /// keeps.
    static std::optional<std::vector<std::uint8_t>> archive(const Value& value);
    /// The value in an archive; absent when the data is not one of ours.
    static std::optional<Value> unarchive(const std::vector<std::uint8_t>& data);
    /// How a keychain item's data reads: its archived value, or the data as text when it is
    /// plain UTF-8 (items other software wrote); absent otherwise.
    static std::optional<Value> unarchiveOrText(const std::vector<std::uint8_t>& data);
};

/// Whether `text` is well-formed UTF-8.
bool isValidUTF8(std::string_view text);

}  // namespace tandri
