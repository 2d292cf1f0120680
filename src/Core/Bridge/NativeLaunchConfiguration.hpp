// Everything a native launch needs from the host.
#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "Core/Views/ViewController.hpp"
#include "tandri/TandriCheckoutResult.hpp"
#include "tandri/TandriProfile.hpp"
#include "tandri/TandriPurchaseInfo.hpp"

namespace tandri {

/// What the library's own entry points (the button, a manual session) do with a finished
/// checkout before the host hears of it: a success or a cancellation runs `rearm` for the next
/// checkout; an error takes down a loading spinner still shown over `presenter`. Then `host`.
void settleCheckout(const TandriCheckoutResult& outcome,
                    const std::shared_ptr<ViewController>& presenter,
                    const std::function<void()>& rearm,
                    const std::function<void(const TandriCheckoutResult&)>& host);

struct NativeLaunchConfiguration {
    using ButtonFinishedLoad =
        std::function<void(const std::optional<Value>& html, const std::optional<Value>& altText)>;
    using ButtonClickEnabled =
        std::function<void(bool enabled, const std::optional<Value>& reason)>;
    using ResultHandler = std::function<void(const TandriCheckoutResult&)>;

    /// Stores the six values as given; the result handler is required by contract.
    static std::shared_ptr<NativeLaunchConfiguration> initWithProfile(
        TandriProfile profile, TandriPurchaseInfo purchaseInfo,
        std::shared_ptr<ViewController> viewController, ButtonFinishedLoad onButtonFinishedLoad,
        ButtonClickEnabled buttonClickEnabled, ResultHandler result) {
        auto config = std::make_shared<NativeLaunchConfiguration>();
        config->profile = std::move(profile);
        config->purchaseInfo = std::move(purchaseInfo);
        config->viewController = std::move(viewController);
        config->onButtonFinishedLoad = std::move(onButtonFinishedLoad);
        config->buttonClickEnabled = std::move(buttonClickEnabled);
        config->resultHandler = std::move(result);
        return config;
    }

    TandriProfile profile;
    TandriPurchaseInfo purchaseInfo;
    std::shared_ptr<ViewController> viewController;
    ButtonFinishedLoad onButtonFinishedLoad;
    ButtonClickEnabled buttonClickEnabled;
    ResultHandler resultHandler;
};

}  // namespace tandri
