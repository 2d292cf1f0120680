#include "Platform/Desktop/Lifecycle.hpp"

#include "Core/Utils/NotificationCenter.hpp"

namespace tandri::desktop {

void transition(WindowState& state, WindowState next) {
    auto& center = NotificationCenter::defaultCenter();
    if (state.active && !next.active) center.post(NotificationName::ApplicationWillResignActive);
    if (!state.minimised && next.minimised) {
        center.post(NotificationName::ApplicationDidEnterBackground);
    }
    if (state.minimised && !next.minimised) {
        center.post(NotificationName::ApplicationWillEnterForeground);
    }
    if (!state.active && next.active) center.post(NotificationName::ApplicationDidBecomeActive);
    state = next;
}

}  // namespace tandri::desktop
