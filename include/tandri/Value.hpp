// The library's model of everything that crosses the bridge and everything the stores hold.
//
// A Value is null, a number (with its stored type, so that 1 and true stay different), a string,
// an array, an insertion-ordered dictionary, or a foreign value (a date, bytes, a closure, an
// image, some other object) that exists only so that it can be refused at the edges.
//
// "Absent" is not a Value: it is std::optional<Value> without a value, a null pointer or a missing
// key. Keep absent and null apart everywhere.
//
// Copies are cheap: strings, arrays, dictionaries and foreign payloads share immutable storage,
// and a mutation copies the storage only when it is shared (copy on write).
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

namespace tandri {

class Value;
class Array;
class Dictionary;

/// How a number was stored. Booleans are numbers whose type is Boolean.
enum class NumberType : std::uint8_t { Boolean, Integer, Float };

/// The kinds of foreign values. None of them may cross the bridge.
enum class ForeignKind : std::uint8_t { Date, Bytes, Closure, Image, Object };

/// A host callback kept as a value (a data request of the merchant records): it receives the
/// page's data (absent when the message had none) and an answer closure that it may call once,
/// at once or later, with the value to send back (absent when it has nothing).
using AnswerClosure = std::function<void(std::optional<Value>)>;
using DataRequestClosure = std::function<void(const std::optional<Value>&, AnswerClosure)>;

/// An ordered list of values. Copying an Array shares its storage.
class Array {
  public:
    Array();
    Array(std::initializer_list<Value> values);
    explicit Array(std::vector<Value> values);

    std::size_t size() const;
    bool empty() const;
    const Value& operator[](std::size_t index) const;
    /// The element at `index`, or nullptr when out of range.
    const Value* at(std::size_t index) const;

    void push_back(Value value);
    void reserve(std::size_t capacity);
    /// Mutable access; detaches shared storage first.
    Value& mutableAt(std::size_t index);

    std::vector<Value>::const_iterator begin() const;
    std::vector<Value>::const_iterator end() const;
    const std::vector<Value>& values() const;

    bool operator==(const Array& other) const;

  private:
    std::vector<Value>& mutate();
    std::shared_ptr<std::vector<Value>> items_;
};

/// A map from string keys to values that keeps insertion order and looks keys up in constant
/// time. Setting an existing key replaces its value in place (the key keeps its position).
/// Copying a Dictionary shares its storage.
class Dictionary {
  public:
    using Entry = std::pair<std::string, Value>;

    Dictionary();
    Dictionary(std::initializer_list<Entry> entries);

    std::size_t size() const;
    bool empty() const;

    /// The value stored under `key`, or nullptr when the key is absent.
    const Value* find(std::string_view key) const;
    bool contains(std::string_view key) const;
    /// The value under `key`, or absent.
    std::optional<Value> get(std::string_view key) const;

    /// Stores `value` under `key`: a new key goes to the end, an existing one is replaced in place.
    void set(std::string key, Value value);
    /// Removes `key`; answers whether it was there. Later keys keep their relative order.
    bool erase(std::string_view key);
    void reserve(std::size_t capacity);

    std::vector<Entry>::const_iterator begin() const;
    std::vector<Entry>::const_iterator end() const;
    const std::vector<Entry>& entries() const;

    /// Same keys with equal values, in any order.
    bool operator==(const Dictionary& other) const;

  private:
    struct Storage;
    Storage& mutate();
    std::shared_ptr<Storage> storage_;
};

/// A value that exists only to be refused: it is never encodable and never valid JSON.
struct Foreign {
    ForeignKind kind = ForeignKind::Object;
    /// Seconds since 1970-01-01 00:00:00 UTC, for dates.
    double date = 0;
    /// The raw bytes (Bytes) or the encoded picture (Image).
    std::shared_ptr<const std::vector<std::uint8_t>> bytes;
    /// The callback, for closures.
    std::shared_ptr<const DataRequestClosure> closure;
    /// Any other object the host handed us, with the name of its type.
    std::shared_ptr<const void> object;
    std::string typeName;
};

class Value {
  public:
    enum class Type : std::uint8_t { Null, Number, String, Array, Dictionary, Foreign };

    /// The null value (not absent).
    Value();
    Value(std::nullptr_t);
    Value(bool boolean);
    Value(int integer);
    Value(long integer);
    Value(long long integer);
    Value(unsigned integer);
    Value(double number);
    Value(const char* text);
    Value(std::string text);
    Value(std::string_view text);
    Value(tandri::Array array);
    Value(tandri::Dictionary dictionary);
    Value(tandri::Foreign foreign);

    static Value null() { return Value(); }
    static Value boolean(bool b) { return Value(b); }
    static Value integer(std::int64_t i);
    static Value floating(double d) { return Value(d); }
    static Value date(double secondsSince1970);
    static Value bytes(std::vector<std::uint8_t> data);
    static Value image(std::vector<std::uint8_t> encoded);
    static Value closure(DataRequestClosure closure);
    static Value object(std::string typeName, std::shared_ptr<const void> object = nullptr);

    Type type() const { return static_cast<Type>(v_.index()); }
    bool isNull() const { return type() == Type::Null; }
    bool isNumber() const { return type() == Type::Number; }
    bool isBoolean() const { return isNumber() && numberType() == NumberType::Boolean; }
    bool isString() const { return type() == Type::String; }
    bool isArray() const { return type() == Type::Array; }
    bool isDictionary() const { return type() == Type::Dictionary; }
    bool isForeign() const { return type() == Type::Foreign; }
    bool isForeign(ForeignKind kind) const;
    /// True for a closure value (the only kind of foreign value the records keep).
    bool isClosure() const { return isForeign(ForeignKind::Closure); }

    /// Meaningful for numbers only (Integer for anything else).
    NumberType numberType() const;
    /// The number as a boolean (non-zero is true); false for anything else.
    bool asBool() const;
    /// The number as an integer (floats truncate toward zero, saturating); 0 for anything else.
    std::int64_t asInt() const;
    /// The number as a double; 0 for anything else.
    double asDouble() const;

    /// The text of a string; an empty text for anything else.
    const std::string& asString() const;
    /// The array; an empty one for anything else.
    const tandri::Array& asArray() const;
    /// The dictionary; an empty one for anything else.
    const tandri::Dictionary& asDictionary() const;
    /// The foreign payload; a default Object for anything else.
    const tandri::Foreign& asForeign() const;

    /// Mutable access for building values in place (copy on write underneath).
    tandri::Array& mutableArray();
    tandri::Dictionary& mutableDictionary();

    /// Dictionary lookup: the value under `key`, or nullptr when absent or not a dictionary.
    const Value* find(std::string_view key) const;

    /// Deep equality. Numbers compare by stored type and value (1 and true differ, 1 and 1.0
    /// are equal as integers and floats compare numerically), foreign values by identity.
    bool operator==(const Value& other) const;

  private:
    struct Number {
        NumberType type;
        union {
            bool b;
            std::int64_t i;
            double d;
        };
    };
    // Order matches Type. Containers and foreign payloads share storage between copies.
    std::variant<std::monostate, Number, std::string, tandri::Array, tandri::Dictionary,
                 std::shared_ptr<const tandri::Foreign>>
        v_;
};

/// "An absent value" spelled out for readability at call sites.
inline constexpr std::nullopt_t absent = std::nullopt;

}  // namespace tandri
