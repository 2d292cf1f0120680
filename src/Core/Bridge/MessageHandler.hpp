// What a bridge keeps in its handler table.
#pragma once

#include <functional>
#include <optional>

#include "Core/Javascript/JSResult.hpp"
#include "Core/Javascript/JSTandriMessage.hpp"

namespace tandri {

/// Answers one message. May be called at once or later, from any thread, more than once (each
/// call answers again) or never (the page gets no answer). Absent answers nothing.
using JSCompletion = std::function<void(std::optional<JSResult>)>;

/// A named handler: takes the message and the completion through which it answers.
using MessageHandler = std::function<void(const JSTandriMessage&, JSCompletion)>;

}  // namespace tandri
