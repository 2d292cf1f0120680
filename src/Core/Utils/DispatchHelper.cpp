#include "Core/Utils/DispatchHelper.hpp"

#include "Platform/Platform.hpp"

namespace tandri {

void DispatchHelper::setRunOnMain(const std::function<void()>& work) {
    if (!work) return;
    const auto& queue = Platform::current().mainQueue;
    if (!queue || queue->isMainThread()) {
        work();
        return;
    }
    queue->runSync(work);
}

bool DispatchHelper::onMainThread() {
    const auto& queue = Platform::current().mainQueue;
    return !queue || queue->isMainThread();
}

void DispatchHelper::postToMain(std::function<void()> work) {
    if (!work) return;
    if (const auto& queue = Platform::current().mainQueue) {
        queue->post(std::move(work));
    } else {
        work();
    }
}

}  // namespace tandri
