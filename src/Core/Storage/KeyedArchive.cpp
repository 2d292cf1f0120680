#include "Core/Storage/KeyedArchive.hpp"

#include <plist/plist.h>

#include <cmath>
#include <cstring>
#include <deque>
#include <memory>
#include <mutex>
#include <utility>

#include "tandri/Json.hpp"

namespace tandri {

namespace {

constexpr const char* kArchiver = "TandriKeyedArchiver";
constexpr std::uint64_t kArchiveVersion = 1;
// Property-list dates count from 2001-01-01 00:00:00 UTC.
constexpr double kReferenceDateOffset = 978307200.0;
// As deep as JSON text nests: every value a page can send is kept, or "set" would be answered
// while the old value stays.
constexpr int kMaxDepth = json::kMaxNesting;

struct PlistDeleter {
    void operator()(plist_t p) const { plist_free(p); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

// Property-list strings end at the first NUL, so text holding one goes as bytes.
plist_t encodeText(const std::string& text) {
    if (text.find('\0') == std::string::npos) return plist_new_string(text.c_str());
    plist_t dict = plist_new_dict();
    plist_dict_set_item(dict, "$text", plist_new_data(text.data(), text.size()));
    return dict;
}

std::optional<std::string> decodeText(plist_t node) {
    switch (plist_get_node_type(node)) {
        case PLIST_STRING: {
            char* s = nullptr;
            plist_get_string_val(node, &s);
            std::string text = s ? s : "";
            std::free(s);
            return text;
        }
        case PLIST_DICT: {
            plist_t bytes = plist_dict_get_item(node, "$text");
            if (!bytes || plist_get_node_type(bytes) != PLIST_DATA) return std::nullopt;
            char* data = nullptr;
            std::uint64_t length = 0;
            plist_get_data_val(bytes, &data, &length);
            std::string text(data ? data : "", data ? length : 0);
            std::free(data);
            return text;
        }
        default:
            return std::nullopt;
    }
}

plist_t encode(const Value& value, int depth) {
    if (depth > kMaxDepth) return nullptr;
    switch (value.type()) {
        case Value::Type::Null:
            return plist_new_uid(0);
        case Value::Type::Number:
            switch (value.numberType()) {
                case NumberType::Boolean:
                    return plist_new_bool(value.asBool() ? 1 : 0);
                case NumberType::Integer:
                    return plist_new_uint(static_cast<std::uint64_t>(value.asInt()));
                case NumberType::Float:
                    return plist_new_real(value.asDouble());
            }
            return nullptr;
        case Value::Type::String:
            return encodeText(value.asString());
        case Value::Type::Array: {
            PlistPtr array(plist_new_array());
            for (const auto& item : value.asArray()) {
                plist_t node = encode(item, depth + 1);
                if (!node) return nullptr;
                plist_array_append_item(array.get(), node);
            }
            return array.release();
        }
        case Value::Type::Dictionary: {
            // Property-list dictionaries do not keep order, so entries go as [key, value, ...].
            PlistPtr dict(plist_new_dict());
            PlistPtr order(plist_new_array());
            for (const auto& [key, item] : value.asDictionary()) {
                plist_t node = encode(item, depth + 1);
                if (!node) return nullptr;
                plist_array_append_item(order.get(), encodeText(key));
                plist_array_append_item(order.get(), node);
            }
            plist_dict_set_item(dict.get(), "$entries", order.release());
            return dict.release();
        }
        case Value::Type::Foreign: {
            const Foreign& f = value.asForeign();
            if (f.kind == ForeignKind::Bytes) {
                const auto* bytes = f.bytes.get();
                return plist_new_data(bytes ? reinterpret_cast<const char*>(bytes->data()) : "",
                                      bytes ? bytes->size() : 0);
            }
            if (f.kind == ForeignKind::Date) {
                double since = f.date - kReferenceDateOffset;
                double whole = std::floor(since);
                auto usec = static_cast<std::int32_t>(std::llround((since - whole) * 1e6));
                auto sec = static_cast<std::int32_t>(whole);
                if (usec >= 1000000) {
                    usec -= 1000000;
                    sec += 1;
                }
                return plist_new_date(sec, usec);
            }
            return nullptr;
        }
    }
    return nullptr;
}

std::optional<Value> decode(plist_t node, int depth) {
    if (!node || depth > kMaxDepth) return std::nullopt;
    switch (plist_get_node_type(node)) {
        case PLIST_UID:
            return Value::null();
        case PLIST_BOOLEAN: {
            std::uint8_t b = 0;
            plist_get_bool_val(node, &b);
            return Value(b != 0);
        }
        case PLIST_UINT: {
            std::uint64_t u = 0;
            plist_get_uint_val(node, &u);
            return Value::integer(static_cast<std::int64_t>(u));
        }
        case PLIST_REAL: {
            double d = 0;
            plist_get_real_val(node, &d);
            return Value(d);
        }
        case PLIST_STRING:
            return Value(*decodeText(node));
        case PLIST_DATA: {
            char* bytes = nullptr;
            std::uint64_t length = 0;
            plist_get_data_val(node, &bytes, &length);
            std::vector<std::uint8_t> data(length);
            if (length) std::memcpy(data.data(), bytes, length);
            std::free(bytes);
            return Value::bytes(std::move(data));
        }
        case PLIST_DATE: {
            std::int32_t sec = 0, usec = 0;
            plist_get_date_val(node, &sec, &usec);
            return Value::date(static_cast<double>(sec) + usec / 1e6 + kReferenceDateOffset);
        }
        case PLIST_ARRAY: {
            Array array;
            std::uint32_t n = plist_array_get_size(node);
            array.reserve(n);
            for (std::uint32_t i = 0; i < n; ++i) {
                auto item = decode(plist_array_get_item(node, i), depth + 1);
                if (!item) return std::nullopt;
                array.push_back(std::move(*item));
            }
            return Value(std::move(array));
        }
        case PLIST_DICT: {
            if (plist_dict_get_item(node, "$text")) {
                auto text = decodeText(node);
                if (!text) return std::nullopt;
                return Value(std::move(*text));
            }
            plist_t order = plist_dict_get_item(node, "$entries");
            if (!order || plist_get_node_type(order) != PLIST_ARRAY) return std::nullopt;
            std::uint32_t n = plist_array_get_size(order);
            if (n % 2 != 0) return std::nullopt;
            Dictionary dict;
            dict.reserve(n / 2);
            for (std::uint32_t i = 0; i < n; i += 2) {
                auto keyText = decodeText(plist_array_get_item(order, i));
                auto item = decode(plist_array_get_item(order, i + 1), depth + 1);
                if (!keyText || !item) return std::nullopt;
                dict.set(std::move(*keyText), std::move(*item));
            }
            return Value(std::move(dict));
        }
        default:
            return std::nullopt;
    }
}

}  // namespace

std::optional<std::vector<std::uint8_t>> KeyedArchive::archive(const Value& value) {
    plist_t root = encode(value, 0);
    if (!root) return std::nullopt;
    PlistPtr top(plist_new_dict());
    plist_dict_set_item(top.get(), "$archiver", plist_new_string(kArchiver));
    plist_dict_set_item(top.get(), "$version", plist_new_uint(kArchiveVersion));
    plist_t inner = plist_new_dict();
    plist_dict_set_item(inner, "root", root);
    plist_dict_set_item(top.get(), "$top", inner);
    char* bin = nullptr;
    std::uint32_t length = 0;
    plist_to_bin(top.get(), &bin, &length);
    if (!bin) return std::nullopt;
    std::vector<std::uint8_t> out(bin, bin + length);
    plist_to_bin_free(bin);
    return out;
}

namespace {

/// The archives read most recently with their values. Pages read the same few keys again and
/// again, and reading a property list costs far more than comparing its bytes; values share their
/// contents when copied, so a hit costs a comparison and a reference.
class RecentArchives {
  public:
    std::optional<Value> find(const std::vector<std::uint8_t>& data) {
        std::lock_guard lock(mutex_);
        for (const auto& [bytes, value] : entries_) {
            if (bytes == data) return value;
        }
        return std::nullopt;
    }
    void remember(const std::vector<std::uint8_t>& data, const Value& value) {
        std::lock_guard lock(mutex_);
        if (entries_.size() == kCapacity) entries_.pop_back();
        entries_.emplace_front(data, value);
    }

  private:
    static constexpr std::size_t kCapacity = 16;
    std::mutex mutex_;
    std::deque<std::pair<std::vector<std::uint8_t>, Value>> entries_;
};

RecentArchives& recentArchives() {
    static auto* recent = new RecentArchives();  // never destroyed: used until the process ends
    return *recent;
}

std::optional<Value> readArchive(const std::vector<std::uint8_t>& data);

}  // namespace

std::optional<Value> KeyedArchive::unarchive(const std::vector<std::uint8_t>& data) {
    if (auto known = recentArchives().find(data)) return known;
    auto value = readArchive(data);
    if (value) recentArchives().remember(data, *value);
    return value;
}

namespace {

std::optional<Value> readArchive(const std::vector<std::uint8_t>& data) {
    static constexpr char kMagic[] = "bplist00";
    if (data.size() < 8 || std::memcmp(data.data(), kMagic, 8) != 0) return std::nullopt;
    plist_t raw = nullptr;
    plist_from_bin(reinterpret_cast<const char*>(data.data()),
                   static_cast<std::uint32_t>(data.size()), &raw);
    PlistPtr top(raw);
    if (!top || plist_get_node_type(top.get()) != PLIST_DICT) return std::nullopt;
    plist_t archiver = plist_dict_get_item(top.get(), "$archiver");
    auto name = decode(archiver, 0);
    if (!name || !name->isString() || name->asString() != kArchiver) return std::nullopt;
    plist_t inner = plist_dict_get_item(top.get(), "$top");
    if (!inner || plist_get_node_type(inner) != PLIST_DICT) return std::nullopt;
    return decode(plist_dict_get_item(inner, "root"), 0);
}

}  // namespace

std::optional<Value> KeyedArchive::unarchiveOrText(const std::vector<std::uint8_t>& data) {
    if (auto value = unarchive(data)) return value;
    std::string text(data.begin(), data.end());
    if (!isValidUTF8(text)) return std::nullopt;
    return Value(std::move(text));
}

bool isValidUTF8(std::string_view text) {
    std::size_t i = 0;
    const auto* s = reinterpret_cast<const unsigned char*>(text.data());
    const std::size_t n = text.size();
    while (i < n) {
        unsigned char c = s[i];
        if (c < 0x80) {
            ++i;
            continue;
        }
        std::size_t len;
        std::uint32_t cp;
        if ((c & 0xE0) == 0xC0) {
            len = 2;
            cp = c & 0x1F;
        } else if ((c & 0xF0) == 0xE0) {
            len = 3;
            cp = c & 0x0F;
        } else if ((c & 0xF8) == 0xF0) {
            len = 4;
            cp = c & 0x07;
        } else {
            return false;
        }
        if (i + len > n) return false;
        for (std::size_t k = 1; k < len; ++k) {
            if ((s[i + k] & 0xC0) != 0x80) return false;
            cp = (cp << 6) | (s[i + k] & 0x3F);
        }
        if ((len == 2 && cp < 0x80) || (len == 3 && cp < 0x800) || (len == 4 && cp < 0x10000) ||
            cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF))
            return false;
        i += len;
    }
    return true;
}

}  // namespace tandri
