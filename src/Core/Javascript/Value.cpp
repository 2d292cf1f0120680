#include "tandri/Value.hpp"

#include <cmath>
#include <limits>

namespace tandri {

namespace {
const std::string kEmptyString;
const Array kEmptyArray;
const Dictionary kEmptyDictionary;
const Foreign kNoForeign;

// Dictionaries this small are searched linearly; an index pays off only above it.
constexpr std::size_t kIndexThreshold = 12;

struct StringHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view s) const noexcept {
        return std::hash<std::string_view>{}(s);
    }
};
}  // namespace

// ---- Array ----

Array::Array() = default;
Array::Array(std::initializer_list<Value> values)
    : items_(std::make_shared<std::vector<Value>>(values)) {}
Array::Array(std::vector<Value> values)
    : items_(std::make_shared<std::vector<Value>>(std::move(values))) {}

std::size_t Array::size() const {
    return items_ ? items_->size() : 0;
}
bool Array::empty() const {
    return size() == 0;
}
const Value& Array::operator[](std::size_t index) const {
    return (*items_)[index];
}
const Value* Array::at(std::size_t index) const {
    return index < size() ? &(*items_)[index] : nullptr;
}

std::vector<Value>& Array::mutate() {
    if (!items_) {
        items_ = std::make_shared<std::vector<Value>>();
    } else if (items_.use_count() > 1) {
        items_ = std::make_shared<std::vector<Value>>(*items_);
    }
    return *items_;
}

void Array::push_back(Value value) {
    mutate().push_back(std::move(value));
}
void Array::reserve(std::size_t capacity) {
    mutate().reserve(capacity);
}
Value& Array::mutableAt(std::size_t index) {
    return mutate().at(index);
}

const std::vector<Value>& Array::values() const {
    static const std::vector<Value> kNone;
    return items_ ? *items_ : kNone;
}
std::vector<Value>::const_iterator Array::begin() const {
    return values().begin();
}
std::vector<Value>::const_iterator Array::end() const {
    return values().end();
}

bool Array::operator==(const Array& other) const {
    if (items_ == other.items_) return true;
    return values() == other.values();
}

// ---- Dictionary ----

struct Dictionary::Storage {
    std::vector<Entry> entries;
    // Key → position in `entries`; built only for larger dictionaries. The string_views point
    // into the keys held by `entries`, whose heap buffers stay put while the vector grows
    // except for short keys, so the index is rebuilt whenever the vector reallocates.
    std::unordered_map<std::string_view, std::size_t, StringHash, std::equal_to<>> index;

    Storage() = default;
    Storage(const Storage& other) : entries(other.entries) { rebuildIndex(); }

    void rebuildIndex() {
        index.clear();
        if (entries.size() <= kIndexThreshold) return;
        index.reserve(entries.size());
        for (std::size_t i = 0; i < entries.size(); ++i) index.emplace(entries[i].first, i);
    }

    std::ptrdiff_t position(std::string_view key) const {
        if (entries.size() <= kIndexThreshold) {
            for (std::size_t i = 0; i < entries.size(); ++i) {
                if (entries[i].first == key) return static_cast<std::ptrdiff_t>(i);
            }
            return -1;
        }
        auto it = index.find(key);
        return it == index.end() ? -1 : static_cast<std::ptrdiff_t>(it->second);
    }
};

Dictionary::Dictionary() = default;
Dictionary::Dictionary(std::initializer_list<Entry> entries) {
    reserve(entries.size());
    for (const auto& e : entries) set(e.first, e.second);
}

std::size_t Dictionary::size() const {
    return storage_ ? storage_->entries.size() : 0;
}
bool Dictionary::empty() const {
    return size() == 0;
}

const Value* Dictionary::find(std::string_view key) const {
    if (!storage_) return nullptr;
    auto pos = storage_->position(key);
    return pos < 0 ? nullptr : &storage_->entries[static_cast<std::size_t>(pos)].second;
}
bool Dictionary::contains(std::string_view key) const {
    return find(key) != nullptr;
}
std::optional<Value> Dictionary::get(std::string_view key) const {
    const Value* v = find(key);
    return v ? std::optional<Value>(*v) : std::nullopt;
}

Dictionary::Storage& Dictionary::mutate() {
    if (!storage_) {
        storage_ = std::make_shared<Storage>();
    } else if (storage_.use_count() > 1) {
        storage_ = std::make_shared<Storage>(*storage_);
    }
    return *storage_;
}

void Dictionary::set(std::string key, Value value) {
    Storage& s = mutate();
    auto pos = s.position(key);
    if (pos >= 0) {
        s.entries[static_cast<std::size_t>(pos)].second = std::move(value);
        return;
    }
    const auto* before = s.entries.data();
    s.entries.emplace_back(std::move(key), std::move(value));
    if (s.entries.size() <= kIndexThreshold) return;
    if (s.entries.data() != before || s.index.empty()) {
        s.rebuildIndex();
    } else {
        s.index.emplace(s.entries.back().first, s.entries.size() - 1);
    }
}

bool Dictionary::erase(std::string_view key) {
    if (!storage_ || storage_->position(key) < 0) return false;
    Storage& s = mutate();
    auto pos = static_cast<std::size_t>(s.position(key));
    s.entries.erase(s.entries.begin() + static_cast<std::ptrdiff_t>(pos));
    s.rebuildIndex();
    return true;
}

void Dictionary::reserve(std::size_t capacity) {
    Storage& s = mutate();
    if (capacity <= s.entries.capacity()) return;
    s.entries.reserve(capacity);
    s.rebuildIndex();
}

const std::vector<Dictionary::Entry>& Dictionary::entries() const {
    static const std::vector<Entry> kNone;
    return storage_ ? storage_->entries : kNone;
}
std::vector<Dictionary::Entry>::const_iterator Dictionary::begin() const {
    return entries().begin();
}
std::vector<Dictionary::Entry>::const_iterator Dictionary::end() const {
    return entries().end();
}

bool Dictionary::operator==(const Dictionary& other) const {
    if (storage_ == other.storage_) return true;
    if (size() != other.size()) return false;
    for (const auto& [key, value] : entries()) {
        const Value* theirs = other.find(key);
        if (!theirs || !(*theirs == value)) return false;
    }
    return true;
}

// ---- Value ----

Value::Value() = default;
Value::Value(std::nullptr_t) {}
Value::Value(bool boolean) {
    Number n{NumberType::Boolean, {}};
    n.b = boolean;
    v_ = n;
}
Value::Value(int integer) : Value(static_cast<long long>(integer)) {}
Value::Value(long integer) : Value(static_cast<long long>(integer)) {}
Value::Value(unsigned integer) : Value(static_cast<long long>(integer)) {}
Value::Value(long long integer) {
    Number n{NumberType::Integer, {}};
    n.i = integer;
    v_ = n;
}
Value::Value(double number) {
    Number n{NumberType::Float, {}};
    n.d = number;
    v_ = n;
}
Value::Value(const char* text) : v_(std::string(text ? text : "")) {}
Value::Value(std::string text) : v_(std::move(text)) {}
Value::Value(std::string_view text) : v_(std::string(text)) {}
Value::Value(tandri::Array array) : v_(std::move(array)) {}
Value::Value(tandri::Dictionary dictionary) : v_(std::move(dictionary)) {}
Value::Value(tandri::Foreign foreign)
    : v_(std::make_shared<const tandri::Foreign>(std::move(foreign))) {}

Value Value::integer(std::int64_t i) {
    return Value(static_cast<long long>(i));
}
Value Value::date(double secondsSince1970) {
    Foreign f;
    f.kind = ForeignKind::Date;
    f.date = secondsSince1970;
    f.typeName = "NSDate";
    return Value(std::move(f));
}
Value Value::bytes(std::vector<std::uint8_t> data) {
    Foreign f;
    f.kind = ForeignKind::Bytes;
    f.bytes = std::make_shared<const std::vector<std::uint8_t>>(std::move(data));
    f.typeName = "NSData";
    return Value(std::move(f));
}
Value Value::image(std::vector<std::uint8_t> encoded) {
    Foreign f;
    f.kind = ForeignKind::Image;
    f.bytes = std::make_shared<const std::vector<std::uint8_t>>(std::move(encoded));
    f.typeName = "UIImage";
    return Value(std::move(f));
}
Value Value::closure(DataRequestClosure closure) {
    Foreign f;
    f.kind = ForeignKind::Closure;
    f.closure = std::make_shared<const DataRequestClosure>(std::move(closure));
    f.typeName = "NSBlock";
    return Value(std::move(f));
}
Value Value::object(std::string typeName, std::shared_ptr<const void> object) {
    Foreign f;
    f.kind = ForeignKind::Object;
    f.object = std::move(object);
    f.typeName = std::move(typeName);
    return Value(std::move(f));
}

bool Value::isForeign(ForeignKind kind) const {
    return isForeign() && asForeign().kind == kind;
}

NumberType Value::numberType() const {
    const Number* n = std::get_if<Number>(&v_);
    return n ? n->type : NumberType::Integer;
}

bool Value::asBool() const {
    const Number* n = std::get_if<Number>(&v_);
    if (!n) return false;
    switch (n->type) {
        case NumberType::Boolean:
            return n->b;
        case NumberType::Integer:
            return n->i != 0;
        case NumberType::Float:
            return n->d != 0;
    }
    return false;
}

std::int64_t Value::asInt() const {
    const Number* n = std::get_if<Number>(&v_);
    if (!n) return 0;
    switch (n->type) {
        case NumberType::Boolean:
            return n->b ? 1 : 0;
        case NumberType::Integer:
            return n->i;
        case NumberType::Float: {
            double d = n->d;
            if (std::isnan(d)) return 0;
            constexpr double kMax = 9223372036854775807.0;
            if (d >= kMax) return std::numeric_limits<std::int64_t>::max();
            if (d <= -kMax) return std::numeric_limits<std::int64_t>::min();
            return static_cast<std::int64_t>(d);
        }
    }
    return 0;
}

double Value::asDouble() const {
    const Number* n = std::get_if<Number>(&v_);
    if (!n) return 0;
    switch (n->type) {
        case NumberType::Boolean:
            return n->b ? 1 : 0;
        case NumberType::Integer:
            return static_cast<double>(n->i);
        case NumberType::Float:
            return n->d;
    }
    return 0;
}

const std::string& Value::asString() const {
    const std::string* s = std::get_if<std::string>(&v_);
    return s ? *s : kEmptyString;
}
const Array& Value::asArray() const {
    const Array* a = std::get_if<Array>(&v_);
    return a ? *a : kEmptyArray;
}
const Dictionary& Value::asDictionary() const {
    const Dictionary* d = std::get_if<Dictionary>(&v_);
    return d ? *d : kEmptyDictionary;
}
const Foreign& Value::asForeign() const {
    const auto* f = std::get_if<std::shared_ptr<const Foreign>>(&v_);
    return f && *f ? **f : kNoForeign;
}

Array& Value::mutableArray() {
    if (!isArray()) v_ = Array();
    return std::get<Array>(v_);
}
Dictionary& Value::mutableDictionary() {
    if (!isDictionary()) v_ = Dictionary();
    return std::get<Dictionary>(v_);
}

const Value* Value::find(std::string_view key) const {
    const Dictionary* d = std::get_if<Dictionary>(&v_);
    return d ? d->find(key) : nullptr;
}

bool Value::operator==(const Value& other) const {
    if (type() != other.type()) return false;
    switch (type()) {
        case Type::Null:
            return true;
        case Type::Number: {
            const Number& a = std::get<Number>(v_);
            const Number& b = std::get<Number>(other.v_);
            bool aBool = a.type == NumberType::Boolean;
            bool bBool = b.type == NumberType::Boolean;
            if (aBool || bBool) return aBool && bBool && a.b == b.b;
            if (a.type == NumberType::Integer && b.type == NumberType::Integer) return a.i == b.i;
            return asDouble() == other.asDouble();
        }
        case Type::String:
            return asString() == other.asString();
        case Type::Array:
            return asArray() == other.asArray();
        case Type::Dictionary:
            return asDictionary() == other.asDictionary();
        case Type::Foreign: {
            const Foreign& a = asForeign();
            const Foreign& b = other.asForeign();
            if (a.kind != b.kind) return false;
            switch (a.kind) {
                case ForeignKind::Date:
                    return a.date == b.date;
                case ForeignKind::Bytes:
                case ForeignKind::Image:
                    return a.bytes == b.bytes || (a.bytes && b.bytes && *a.bytes == *b.bytes);
                case ForeignKind::Closure:
                    return a.closure == b.closure;
                case ForeignKind::Object:
                    return a.object == b.object && a.typeName == b.typeName;
            }
            return false;
        }
    }
    return false;
}

}  // namespace tandri
