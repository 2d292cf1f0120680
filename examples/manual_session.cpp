// A manual checkout session: the host starts checkout from its own control.
#include <cstdio>
#include <functional>

#include "Platform/Simulated/SimulatedPlatform.hpp"
#include "Public/Native/TandriCheckoutSDK.hpp"

using namespace tandri;

int main() {
    sim::SimulatedPlatform platform;
    TandriCheckoutSDK::configure();

    auto screen = std::make_shared<ViewController>();
    std::function<void()> launch;
    TandriCheckoutSDK::configureManualCheckoutSessionWithProfile(
        TandriProfile(Environment::Sandbox, std::string("my-api-key"), std::string("My Shop")),
        TandriPurchaseInfo(), screen,
        // Called with the launch closure when the session opens, and with the answer closure
        // when the page is ready; the host keeps the first for its own "Pay" control.
        [&launch](std::function<void()> closure) {
            if (!launch) launch = std::move(closure);
        },
        [](const TandriCheckoutResult& result) {
            std::printf("checkout ended: %s\n", result.statusName().c_str());
        });

    launch();  // the host's own "Pay" control was tapped: the spinner comes up at once
    platform.mainQueue().drain();
    std::printf("spinner shown: %s\n", screen->presentedViewController() &&
                                               screen->presentedViewController()->isLoadingSpinner()
                                           ? "yes"
                                           : "no");
    return 0;
}
