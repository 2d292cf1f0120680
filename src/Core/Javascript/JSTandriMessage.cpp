#include "Core/Javascript/JSTandriMessage.hpp"

#include "Core/Javascript/JSEncodable.hpp"

namespace tandri {

std::optional<JSTandriMessage> JSTandriMessage::initWithDictionary(const Value& body) {
    // A bare string or number posted by a page is dropped like a body without "id".
    if (!body.isDictionary()) return std::nullopt;
    return initWithDictionary(body.asDictionary());
}

std::optional<JSTandriMessage> JSTandriMessage::initWithDictionary(const Dictionary& body) {
    JSTandriMessage message;
    message.raw_ = body;
    const Value* name = message["name"];
    const Value* identifier = message["id"];
    const Value* data = message["data"];
    if (!identifier || !name) return std::nullopt;
    message.name_ = descriptionOf(*name);
    message.identifier_ = descriptionOf(*identifier);
    if (data) message.data_ = *data;
    return message;
}

}  // namespace tandri
