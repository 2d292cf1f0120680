#include "tandri/Json.hpp"

#include <simdjson.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <vector>

namespace tandri::json {

// ---- reading ----

namespace {

Value fromElement(simdjson::dom::element element) {
    using simdjson::dom::element_type;
    switch (element.type()) {
        case element_type::OBJECT: {
            simdjson::dom::object object = element.get_object().value_unsafe();
            Dictionary dictionary;
            dictionary.reserve(object.size());
            for (auto field : object) {
                dictionary.set(std::string(field.key), fromElement(field.value));
            }
            return Value(std::move(dictionary));
        }
        case element_type::ARRAY: {
            simdjson::dom::array array = element.get_array().value_unsafe();
            std::vector<Value> values;
            values.reserve(array.size());
            for (auto item : array) values.push_back(fromElement(item));
            return Value(Array(std::move(values)));
        }
        case element_type::STRING:
            return Value(std::string(element.get_string().value_unsafe()));
        case element_type::INT64:
            return Value::integer(element.get_int64().value_unsafe());
        case element_type::UINT64:
            // Beyond the signed range: kept as the nearest double, as a platform number would.
            return Value(static_cast<double>(element.get_uint64().value_unsafe()));
        case element_type::DOUBLE:
            return Value(element.get_double().value_unsafe());
        case element_type::BOOL:
            return Value(element.get_bool().value_unsafe());
        case element_type::NULL_VALUE:
            return Value();
    }
    return Value();
}

// The four hex digits at `at` as a number, or -1.
int hexUnit(std::string_view text, std::size_t at) {
    if (at + 4 > text.size()) return -1;
    int unit = 0;
    for (std::size_t i = at; i < at + 4; ++i) {
        const char c = text[i];
        int digit = c >= '0' && c <= '9'   ? c - '0'
                    : c >= 'a' && c <= 'f' ? c - 'a' + 10
                    : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                           : -1;
        if (digit < 0) return -1;
        unit = unit * 16 + digit;
    }
    return unit;
}

// A page's own JSON.stringify writes a broken string's unpaired surrogate as an escape such as
// \ud800, which simdjson refuses. The engine's JSON reads it, and its text turns into U+FFFD
// when made UTF-8; so does ours: the text with every unpaired surrogate escape inside a string
// written \ufffd (the same length), or absent when there is none.
std::optional<std::string> mendLoneSurrogates(std::string_view text) {
    std::optional<std::string> mended;
    bool inString = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (!inString) {
            inString = c == '"';
            continue;
        }
        if (c == '"') {
            inString = false;
            continue;
        }
        if (c != '\\' || i + 1 >= text.size()) continue;
        if (text[i + 1] != 'u') {  // a two-character escape, an escaped backslash among them
            ++i;
            continue;
        }
        const int unit = hexUnit(text, i + 2);
        if (unit < 0xD800 || unit > 0xDFFF) {  // not a surrogate (or malformed: refused later)
            i += 1;
            continue;
        }
        if (unit <= 0xDBFF && i + 8 <= text.size() && text.compare(i + 6, 2, "\\u") == 0) {
            const int low = hexUnit(text, i + 8);
            if (low >= 0xDC00 && low <= 0xDFFF) {  // a whole pair
                i += 11;
                continue;
            }
        }
        if (!mended) mended.emplace(text);
        mended->replace(i + 2, 4, "fffd");
        i += 5;
    }
    return mended;
}

}  // namespace

static_assert(simdjson::DEFAULT_MAX_DEPTH == kMaxNesting, "the stores keep what the reader reads");

std::optional<Value> parse(std::string_view text) {
    // One parser per thread: it keeps its buffers between calls.
    thread_local simdjson::dom::parser parser;
    simdjson::dom::element root;
    auto error = parser.parse(text.data(), text.size(), true).get(root);
    std::optional<std::string> mended;
    if (error == simdjson::STRING_ERROR && (mended = mendLoneSurrogates(text))) {
        error = parser.parse(mended->data(), mended->size(), true).get(root);
    }
    if (error != simdjson::SUCCESS) return std::nullopt;
    return fromElement(root);
}

// ---- validity ----

bool isValid(const Value& value) {
    switch (value.type()) {
        case Value::Type::Null:
        case Value::Type::String:
            return true;
        case Value::Type::Number:
            return value.numberType() != NumberType::Float || std::isfinite(value.asDouble());
        case Value::Type::Array:
            for (const Value& item : value.asArray()) {
                if (!isValid(item)) return false;
            }
            return true;
        case Value::Type::Dictionary:
            for (const auto& entry : value.asDictionary()) {
                if (!isValid(entry.second)) return false;
            }
            return true;
        case Value::Type::Foreign:
            return false;
    }
    return false;
}

bool isValidJSONObject(const Value& value) {
    return (value.isArray() || value.isDictionary()) && isValid(value);
}

// ---- writing ----

namespace {

void appendDouble(std::string& out, double d) {
    char buffer[32];
    // Whole numbers beyond the 64-bit range would print as long digit strings that no JSON
    // reader keeps exact; they get the exponent form instead (still the shortest digits).
    constexpr double kTwoTo63 = 9223372036854775808.0;
    auto result = std::fabs(d) >= kTwoTo63 ? std::to_chars(buffer, buffer + sizeof buffer, d,
                                                           std::chars_format::scientific)
                                           : std::to_chars(buffer, buffer + sizeof buffer, d);
    out.append(buffer, result.ptr);
}

void appendInteger(std::string& out, std::int64_t i) {
    char buffer[24];
    auto result = std::to_chars(buffer, buffer + sizeof buffer, i);
    out.append(buffer, result.ptr);
}

// Which bytes need an escape inside a JSON string: the quote, the backslash and the controls.
constexpr bool needsEscape(unsigned char c) {
    return c < 0x20 || c == '"' || c == '\\';
}

void appendQuoted(std::string& out, std::string_view s) {
    out.push_back('"');
    const char* run = s.data();
    const char* end = s.data() + s.size();
    for (const char* p = run; p != end; ++p) {
        auto c = static_cast<unsigned char>(*p);
        if (!needsEscape(c)) continue;
        out.append(run, p);
        run = p + 1;
        switch (c) {
            case '"':
                out.append("\\\"");
                break;
            case '\\':
                out.append("\\\\");
                break;
            case '\n':
                out.append("\\n");
                break;
            case '\r':
                out.append("\\r");
                break;
            case '\t':
                out.append("\\t");
                break;
            case '\b':
                out.append("\\b");
                break;
            case '\f':
                out.append("\\f");
                break;
            default: {
                static constexpr char kHex[] = "0123456789abcdef";
                char escape[6] = {'\\', 'u', '0', '0', kHex[c >> 4], kHex[c & 0xF]};
                out.append(escape, sizeof escape);
            }
        }
    }
    out.append(run, end);
    out.push_back('"');
}

// Writes `value`; answers false (leaving `out` in an unspecified state) on anything invalid.
bool writeCompact(std::string& out, const Value& value) {
    switch (value.type()) {
        case Value::Type::Null:
            out.append("null");
            return true;
        case Value::Type::Number:
            switch (value.numberType()) {
                case NumberType::Boolean:
                    out.append(value.asBool() ? "true" : "false");
                    return true;
                case NumberType::Integer:
                    appendInteger(out, value.asInt());
                    return true;
                case NumberType::Float: {
                    double d = value.asDouble();
                    if (!std::isfinite(d)) return false;
                    appendDouble(out, d);
                    return true;
                }
            }
            return false;
        case Value::Type::String:
            appendQuoted(out, value.asString());
            return true;
        case Value::Type::Array: {
            out.push_back('[');
            bool first = true;
            for (const Value& item : value.asArray()) {
                if (!first) out.push_back(',');
                first = false;
                if (!writeCompact(out, item)) return false;
            }
            out.push_back(']');
            return true;
        }
        case Value::Type::Dictionary: {
            out.push_back('{');
            bool first = true;
            for (const auto& [key, item] : value.asDictionary()) {
                if (!first) out.push_back(',');
                first = false;
                appendQuoted(out, key);
                out.push_back(':');
                if (!writeCompact(out, item)) return false;
            }
            out.push_back('}');
            return true;
        }
        case Value::Type::Foreign:
            return false;
    }
    return false;
}

void indent(std::string& out, int depth) {
    out.append(static_cast<std::size_t>(depth) * 2, ' ');
}

bool writePretty(std::string& out, const Value& value, bool sorted, int depth) {
    if (value.isArray()) {
        const Array& array = value.asArray();
        out.append("[\n");
        if (array.empty()) out.push_back('\n');
        for (std::size_t i = 0; i < array.size(); ++i) {
            indent(out, depth + 1);
            if (!writePretty(out, array[i], sorted, depth + 1)) return false;
            out.append(i + 1 < array.size() ? ",\n" : "\n");
        }
        indent(out, depth);
        out.push_back(']');
        return true;
    }
    if (value.isDictionary()) {
        const Dictionary& dictionary = value.asDictionary();
        std::vector<const Dictionary::Entry*> order;
        order.reserve(dictionary.size());
        for (const auto& entry : dictionary) order.push_back(&entry);
        if (sorted) {
            std::sort(order.begin(), order.end(),
                      [](const auto* a, const auto* b) { return a->first < b->first; });
        }
        out.append("{\n");
        if (order.empty()) out.push_back('\n');
        for (std::size_t i = 0; i < order.size(); ++i) {
            indent(out, depth + 1);
            appendQuoted(out, order[i]->first);
            out.append(" : ");
            if (!writePretty(out, order[i]->second, sorted, depth + 1)) return false;
            out.append(i + 1 < order.size() ? ",\n" : "\n");
        }
        indent(out, depth);
        out.push_back('}');
        return true;
    }
    return writeCompact(out, value);
}

}  // namespace

bool appendCompact(std::string& out, const Value& value) {
    std::size_t mark = out.size();
    if (writeCompact(out, value)) return true;
    out.resize(mark);
    return false;
}

std::optional<std::string> write(const Value& value, Style style) {
    std::string out;
    bool ok = style == Style::Compact ? writeCompact(out, value)
                                      : writePretty(out, value, style == Style::PrettySorted, 0);
    if (!ok) return std::nullopt;
    return out;
}

std::string numberText(const Value& number) {
    std::string out;
    switch (number.numberType()) {
        case NumberType::Boolean:
            out = number.asBool() ? "1" : "0";
            break;
        case NumberType::Integer:
            appendInteger(out, number.asInt());
            break;
        case NumberType::Float: {
            double d = number.asDouble();
            if (std::isnan(d)) {
                out = "nan";
            } else if (std::isinf(d)) {
                out = d > 0 ? "inf" : "-inf";
            } else {
                appendDouble(out, d);
            }
            break;
        }
    }
    return out;
}

}  // namespace tandri::json
