#include "Platform/Desktop/Setup.hpp"

#include <cstdlib>
#include <utility>

#include "Core/Bridge/LoadingSpinnerViewController.hpp"
#include "Core/Utils/Logging.hpp"
#include "Core/Utils/URL.hpp"
#include "Core/Views/ImageAssets.hpp"
#include "Platform/Desktop/ResourceBundle.hpp"
#include "Platform/Linux/LinuxDevice.hpp"
#include "Platform/Linux/PersistentStorage.hpp"
#include "Platform/Linux/PosixFiles.hpp"
#include "Platform/Linux/StbImageCodec.hpp"
#include "Public/Hybrid/TandriCheckoutPlugin.hpp"

namespace tandri::desktop {

namespace {

bool letterOrDigit(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

/// $XDG_DATA_HOME, or ~/.local/share where it is unset or not absolute.
std::string userDataDirectory() {
    const char* data = std::getenv("XDG_DATA_HOME");
    if (data != nullptr && data[0] == '/') return data;
    const char* home = std::getenv("HOME");
    return std::string(home != nullptr ? home : "") + "/.local/share";
}

}  // namespace

bool usableApplicationId(const std::string& id) {
    if (id.empty() || id.size() > 255) return false;
    int elements = 0;
    bool atStart = true;
    for (char c : id) {
        if (c == '.') {
            if (atStart) return false;  // an empty element
            atStart = true;
            continue;
        }
        if (!letterOrDigit(c) && c != '_' && c != '-') return false;
        if (atStart && c >= '0' && c <= '9') return false;
        if (atStart) ++elements;
        atStart = false;
    }
    return !atStart && elements >= 2;
}

bool acceptSetup(bool hasWindow, bool alreadySetUp, Options& options) {
    if (!hasWindow) {
        logInProduction("checkout not set up: no window");
        return false;
    }
    if (!usableApplicationId(options.applicationId)) {
        logInProduction("checkout not set up: the application id \"" + options.applicationId +
                        "\" is not a reverse-DNS id such as com.example.shop");
        return false;
    }
    if (alreadySetUp) {
        logInProduction("checkout not set up: it is set up already (one installation per process)");
        return false;
    }
    if (options.dataDirectory.empty()) {
        options.dataDirectory = userDataDirectory() + "/" + options.applicationId;
    }
    if (!options.checkoutDomain.empty()) setMakerDomain(options.checkoutDomain);
    if (!options.checkoutHost.empty()) TandriProfile::setCheckoutHost(options.checkoutHost);
    return true;
}

bool installCommonPorts(Platform& ports, const Options& options, const std::string& vendor,
                        bool& keyring) {
    const auto backend = options.keychain == KeychainStore::ApplicationStore
                             ? linux_storage::KeychainBackend::Sqlite
                             : linux_storage::KeychainBackend::SecretService;
    auto chosen = linux_storage::KeychainBackend::Sqlite;
    if (!linux_storage::installStoragePorts(ports, options.applicationId, backend,
                                            options.dataDirectory + "/storage.db", &chosen)) {
        return false;  // the store said why
    }
    // Said once: where the secrets went (a keyring that did not answer has said so already).
    keyring = chosen == linux_storage::KeychainBackend::SecretService;
    if (keyring) logInProduction("keychain items are kept in the desktop keyring");
    ports.files = std::make_shared<linux_platform::PosixFiles>(options.dataDirectory);
    ports.imageCodec = std::make_shared<linux_platform::StbImageCodec>();
    Dictionary hostInfo;
    if (!options.applicationVersion.empty())
        hostInfo.set("CFBundleShortVersionString", Value(options.applicationVersion));
    ports.bundle = std::make_shared<ResourceBundle>(std::move(hostInfo));
    ports.device =
        std::make_shared<linux_platform::LinuxDevice>(!options.vendor.empty() ? options.vendor
                                                      : !vendor.empty()       ? vendor
                                                                        : options.applicationId);
    return true;
}

bool decodeNextLoadingFrame(int& next) {
    if (next >= LoadingSpinnerViewController::kFrameCount) return false;
    imageNamed(LoadingSpinnerViewController::frameName(next++));
    return next < LoadingSpinnerViewController::kFrameCount;
}

std::shared_ptr<WebView> AdoptedView::webViewCreateWebView(
    WebView&, const std::shared_ptr<WebViewConfiguration>& configuration,
    const NavigationAction& action) {
    return TandriCheckoutPlugin::finishSetupWithRequest(action.request, configuration);
}

void TapToStart::arm(TandriCheckoutButton& button, TandriProfile profile,
                     TandriPurchaseInfo purchaseInfo, std::shared_ptr<ViewController> presenting,
                     CheckoutCompletion completion) {
    std::weak_ptr<Start> weak = start_;
    *start_ = {};
    button.onCheckoutWithProfile(
        std::move(profile), std::move(purchaseInfo), std::move(presenting),
        [weak](std::function<void()> closure) {
            auto start = weak.lock();
            if (!start) return;
            if (!start->launched) {
                start->launch = std::move(closure);
            } else {
                // Started: the page goes on at once, and the button is armed again.
                start->launched = false;
                start->launch = nullptr;
                start->goOn = std::move(closure);
                start->goOn();
            }
        },
        [weak] {
            auto start = weak.lock();
            if (!start || !start->launch || start->launched) return;
            start->launched = true;
            start->launch();
        },
        std::move(completion));
}

}  // namespace tandri::desktop
