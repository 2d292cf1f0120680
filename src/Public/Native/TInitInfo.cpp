#include "tandri/TInitInfo.hpp"

#include "Core/Javascript/JSEncodable.hpp"
#include "Core/Utils/DispatchHelper.hpp"

namespace tandri {

std::optional<Value> TInitInfo::operator[](std::string_view key) const {
    if (const Value* v = data_.find(key)) return *v;
    if (const Value* v = rawObjects_.find(key)) return *v;
    if (const Value* v = dataRequests_.find(key)) return *v;
    return std::nullopt;
}

void TInitInfo::setObject(const std::optional<Value>& value, std::string_view key) {
    if (BlockUtil::isBlock(value)) {
        dataRequests_.set(std::string(key), *value);
    } else if (JSEncodable::isEncodable(value)) {
        data_.set(std::string(key), *value);
    }
}

bool TInitInfo::boolFor(std::string_view key) const {
    auto v = (*this)[key];
    return v && v->asBool();
}

std::int64_t TInitInfo::rawIntFor(std::string_view key) const {
    const Value* v = rawObjects_.find(key);
    return v ? v->asInt() : 0;
}

std::optional<std::string> TInitInfo::stringFor(std::string_view key) const {
    auto v = (*this)[key];
    if (!v || !v->isString()) return std::nullopt;
    return v->asString();
}

void TInitInfo::setString(const std::optional<std::string>& text, std::string_view key) {
    if (text) setObject(Value(*text), key);
}

}  // namespace tandri
