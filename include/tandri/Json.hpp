// JSON text in and out of Value.
//
// Reading uses simdjson: integers stay integers, true and false stay booleans, and anything that
// is not well-formed JSON in valid UTF-8 (or nests deeper than the parser allows) reads as absent.
// Writing is ours, because the number and boolean forms are part of what pages receive:
// integers as integers, floating point in the shortest text that reads back as the same double,
// and a value that holds a NaN, an infinity or a foreign value is not valid JSON at all.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tandri/Value.hpp"

namespace tandri::json {

enum class Style {
    /// No spaces and no line breaks, keys in insertion order.
    Compact,
    /// One member per line, two-space indent, "key" : value, keys in insertion order.
    Pretty,
    /// As Pretty, with the keys of every object sorted.
    PrettySorted,
};

/// JSON text is read only when it nests fewer arrays and objects than this (simdjson's limit);
/// the stores keep any value nested that deep.
inline constexpr int kMaxNesting = 1024;

/// Parses JSON text (any JSON value at the top level). Absent for malformed text, invalid UTF-8,
/// integers beyond 64 bits, or nesting deeper than the parser's limit. An escape of an unpaired
/// surrogate (\ud800 alone) reads as U+FFFD, as a browser engine's JSON text becomes UTF-8.
std::optional<Value> parse(std::string_view text);

/// True when `value` can be written as JSON as a whole: every nested value null, a number that is
/// neither NaN nor infinite, a string, an array or a dictionary. No foreign values anywhere.
bool isValid(const Value& value);

/// True when `value` is an array or dictionary that is valid as a whole (the test a platform JSON
/// writer makes before it accepts a top-level object).
bool isValidJSONObject(const Value& value);

/// The JSON text of `value`, or absent when it is not valid as a whole.
std::optional<std::string> write(const Value& value, Style style = Style::Compact);

/// Appends the compact JSON text of `value` to `out`; on an invalid value answers false and
/// leaves `out` as it was.
bool appendCompact(std::string& out, const Value& value);

/// The decimal text of a number as the platform prints it: integers in full, booleans as 1 or 0,
/// floating point in the shortest form that reads back as the same double ("2.5", "1e+21").
std::string numberText(const Value& number);

}  // namespace tandri::json
