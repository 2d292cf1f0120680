// A native host with the checkout button. The simulated platform stands in for the phone or the
// desktop here, and plays the button page; a real host installs its platform instead.
#include <cstdio>

#include "Platform/Simulated/SimulatedPlatform.hpp"
#include "Public/Native/TandriCheckoutButton.hpp"
#include "Public/Native/TandriCheckoutSDK.hpp"

using namespace tandri;

int main() {
    sim::SimulatedPlatform platform;
    TandriCheckoutSDK::configure();  // once, at start-up

    // The merchant and the purchase.
    TandriProfile profile(Environment::Sandbox, std::string("my-api-key"), std::string("My Shop"));
    TandriPurchaseInfo purchase;
    purchase.setObject(Value("24.90"), kTotal);

    // The button in the host's screen, armed for one checkout (and again after each one).
    auto screen = std::make_shared<ViewController>();
    auto button = TandriCheckoutButton::initWithFrame({16, 600, 343, 48});
    screen->view()->addSubview(button);
    button->onCheckoutWithProfile(
        profile, purchase, screen, /*onReady=*/{}, [] { std::puts("button tapped"); },
        [](const TandriCheckoutResult& result) {
            std::printf("checkout ended: %s\n", result.statusName().c_str());
        });
    std::printf("button page: %s\n", button->resolvedButtonUrl->c_str());

    // What the button page does once it has loaded, played here by the simulation.
    auto& page = static_cast<sim::SimulatedWebView&>(*button->bridge->webView);
    page.postJSON("tandriMessage", R"({"name":"result","id":"1","data":{"type":"payment.cancel"}})",
                  *button->resolvedButtonUrl);
    return 0;
}
