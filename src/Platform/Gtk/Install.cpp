// The GTK platform's one-call set-up and its public pieces: every port wired with the desktop's
// defaults, the checkout button as a widget, the hybrid plugin on a host's own web view.

#include <glib.h>

#include <algorithm>
#include <cctype>
#include <utility>

#include "Core/Bridge/LoadingSpinnerViewController.hpp"
#include "Core/Utils/Logging.hpp"
#include "Core/Utils/URL.hpp"
#include "Core/Views/ImageAssets.hpp"
#include "Core/Views/ViewController.hpp"
#include "Platform/Gtk/GioURLOpener.hpp"
#include "Platform/Gtk/GtkCookies.hpp"
#include "Platform/Gtk/GtkLifecycle.hpp"
#include "Platform/Gtk/GtkMainQueue.hpp"
#include "Platform/Gtk/GtkPresenter.hpp"
#include "Platform/Gtk/GtkWebView.hpp"
#include "Platform/Gtk/ResourceBundle.hpp"
#include "Platform/Gtk/ViewWidget.hpp"
#include "Platform/Gtk/Widgets.hpp"
#include "Platform/Linux/LinuxDevice.hpp"
#include "Platform/Linux/PersistentStorage.hpp"
#include "Platform/Linux/PosixFiles.hpp"
#include "Platform/Linux/StbImageCodec.hpp"
#include "Public/Hybrid/TandriCheckoutPlugin.hpp"
#include "Public/Native/TandriCheckoutButton.hpp"
#include "tandri/gtk.hpp"

namespace tandri::gtk {

namespace {

/// Decodes the loading screen's frames while the main loop has nothing else to do, a few at a
/// time, into the images every spinner shares: the first tap then shows its spinner at once
/// instead of decoding all of them first (about a second on a slow machine).
void prepareLoadingFrames() {
    constexpr int kPerTurn = 1;
    g_idle_add_full(
        G_PRIORITY_LOW,
        [](gpointer data) -> gboolean {
            int& next = *static_cast<int*>(data);
            const int end = std::min(next + kPerTurn, LoadingSpinnerViewController::kFrameCount);
            for (; next < end; ++next) imageNamed(LoadingSpinnerViewController::frameName(next));
            return next < LoadingSpinnerViewController::kFrameCount ? G_SOURCE_CONTINUE
                                                                    : G_SOURCE_REMOVE;
        },
        new int(0), [](gpointer data) { delete static_cast<int*>(data); });
}

/// "com.example.shop": letters, digits, '_' and '-' in dot-separated elements, at least two, as
/// GLib's application ids; it becomes a directory name, so nothing else gets through.
bool usableApplicationId(const std::string& id) {
    return g_application_id_is_valid(id.c_str()) && id.find('/') == std::string::npos;
}

/// A web view the hybrid host made, kept for as long as that view lives.
struct AdoptedView : UIDelegate {
    std::shared_ptr<GtkWebView> wrapper;
    std::shared_ptr<WebView> webViewCreateWebView(
        WebView&, const std::shared_ptr<WebViewConfiguration>& configuration,
        const NavigationAction& action) override {
        return TandriCheckoutPlugin::finishSetupWithRequest(action.request, configuration);
    }
};

/// The installation in force: one per process, as the web context and the stores are.
std::weak_ptr<Installation>& current() {
    static std::weak_ptr<Installation> installation;
    return installation;
}

}  // namespace

struct Installation::Impl {
    GtkWindow* window = nullptr;
    std::shared_ptr<GtkWebViewFactory> factory;
    std::shared_ptr<GtkPresenter> presenter;
    std::string dataDirectory;
    bool keyring = false;
    using Adopted = std::vector<std::shared_ptr<AdoptedView>>;
    std::shared_ptr<Adopted> adopted = std::make_shared<Adopted>();
};

Installation::Installation(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

Installation::~Installation() {
    impl_->adopted->clear();
    if (Platform::current().presenter == impl_->presenter) Platform::current().presenter.reset();
    impl_->presenter.reset();
}

std::shared_ptr<ViewController> Installation::screen() const {
    return impl_->presenter->hostController();
}

WebKitWebContext* Installation::webContext() const {
    return impl_->factory->context();
}

#if TANDRI_GTK_MAJOR == 4
WebKitNetworkSession* Installation::networkSession() const {
    return sessionOf(impl_->factory->context());
}
#endif

WebKitWebView* Installation::newWebView() const {
    return WEBKIT_WEB_VIEW(tandri::gtk::newWebView(impl_->factory->context()));
}

const std::string& Installation::dataDirectory() const {
    return impl_->dataDirectory;
}

bool Installation::keychainInKeyring() const {
    return impl_->keyring;
}

std::shared_ptr<Installation> install(GtkWindow* window, Options options) {
    if (window == nullptr) {
        logInProduction("checkout not set up: no window");
        return nullptr;
    }
    if (!usableApplicationId(options.applicationId)) {
        logInProduction("checkout not set up: the application id \"" + options.applicationId +
                        "\" is not a reverse-DNS id such as com.example.shop");
        return nullptr;
    }
    if (!current().expired()) {
        logInProduction("checkout not set up: it is set up already (one installation per process)");
        return nullptr;
    }
    auto impl = std::make_unique<Installation::Impl>();
    impl->window = window;
    if (options.dataDirectory.empty()) {
        options.dataDirectory = std::string(g_get_user_data_dir()) + "/" + options.applicationId;
    }
    impl->dataDirectory = options.dataDirectory;
    if (!options.checkoutDomain.empty()) setMakerDomain(options.checkoutDomain);
    if (!options.checkoutHost.empty()) TandriProfile::setCheckoutHost(options.checkoutHost);

    Platform ports;
    ports.systemLog = Platform::current().systemLog;  // where the lines went so far
    ports.mainQueue = std::make_shared<GtkMainQueue>();
    impl->factory = std::make_shared<GtkWebViewFactory>(
        NetworkSettings{options.network.proxy, options.network.trustedCertificate,
                        options.network.trustedHosts},
        impl->dataDirectory + "/webkit");
    ports.webViews = impl->factory;
    ports.cookies = std::make_shared<GtkCookies>(impl->factory->context());
    const auto backend = options.keychain == KeychainStore::ApplicationStore
                             ? linux_storage::KeychainBackend::Sqlite
                             : linux_storage::KeychainBackend::SecretService;
    auto chosen = linux_storage::KeychainBackend::Sqlite;
    if (!linux_storage::installStoragePorts(ports, options.applicationId, backend,
                                            impl->dataDirectory + "/storage.db", &chosen)) {
        return nullptr;  // the store said why
    }
    // Said once: where the secrets went (a keyring that did not answer has said so already).
    impl->keyring = chosen == linux_storage::KeychainBackend::SecretService;
    if (impl->keyring) logInProduction("keychain items are kept in the desktop keyring");
    ports.files = std::make_shared<linux_platform::PosixFiles>(impl->dataDirectory);
    ports.imageCodec = std::make_shared<linux_platform::StbImageCodec>();
    Dictionary hostInfo;
    if (!options.applicationVersion.empty())
        hostInfo.set("CFBundleShortVersionString", Value(options.applicationVersion));
    ports.bundle = std::make_shared<ResourceBundle>(std::move(hostInfo));
    const char* name = g_get_application_name();
    ports.device =
        std::make_shared<linux_platform::LinuxDevice>(!options.vendor.empty() ? options.vendor
                                                      : name                  ? name
                                                             : options.applicationId);
    ports.urlOpener = std::make_shared<GioURLOpener>();
    impl->presenter = std::make_shared<GtkPresenter>(window);
    ports.presenter = impl->presenter;
    int width = 0, height = 0;
    windowSize(window, width, height);
    ports.mainScreenBounds = Rect{0, 0, static_cast<double>(width), static_cast<double>(height)};
    Platform::install(std::move(ports));
    GtkLifecycle::follow(window);
    TandriCheckoutSDK::configure();
    prepareLoadingFrames();
    auto installation = std::make_shared<Installation>(std::move(impl));
    current() = installation;
    return installation;
}

std::shared_ptr<Installation> install(GtkWindow* window, std::string applicationId) {
    Options options;
    options.applicationId = std::move(applicationId);
    return install(window, std::move(options));
}

// ---- the button ----

struct CheckoutButton::Impl {
    std::shared_ptr<TandriCheckoutButton> button;
    GtkWidget* widget = nullptr;
    // The start as a tap asks for it: the closure the button hands once it can start, used once.
    struct Start {
        std::function<void()> launch;
        std::function<void()> goOn;
        bool launched = false;
    };
    std::shared_ptr<Start> start = std::make_shared<Start>();
};

CheckoutButton::CheckoutButton() : impl_(std::make_unique<Impl>()) {
    impl_->button = TandriCheckoutButton::initWithFrame({0, 0, 380, 56});
    impl_->widget = GTK_WIDGET(g_object_ref_sink(ViewWidget::create(impl_->button, 380, 56)));
}

CheckoutButton::~CheckoutButton() {
    g_object_unref(impl_->widget);
}

GtkWidget* CheckoutButton::widget() const {
    return impl_->widget;
}

void CheckoutButton::onCheckout(const Installation& installation, TandriProfile profile,
                                TandriPurchaseInfo purchaseInfo, CheckoutCompletion completion) {
    std::weak_ptr<Impl::Start> weak = impl_->start;
    *impl_->start = {};
    onCheckout(
        installation, std::move(profile), std::move(purchaseInfo),
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

void CheckoutButton::onCheckout(const Installation& installation, TandriProfile profile,
                                TandriPurchaseInfo purchaseInfo, ReadyHandler onReady,
                                std::function<void()> onButtonTapped,
                                CheckoutCompletion completion) {
    impl_->button->onCheckoutWithProfile(std::move(profile), std::move(purchaseInfo),
                                         installation.screen(), std::move(onReady),
                                         std::move(onButtonTapped), std::move(completion));
}

void CheckoutButton::setStyle(std::int64_t style) {
    impl_->button->setStyle(style);
}

void CheckoutButton::setStandardStyle(bool standard) {
    impl_->button->setStandardStyle(standard);
}

void CheckoutButton::setAccessibilityLabel(std::optional<std::string> label) {
    impl_->button->setButtonAccessibility(label ? std::optional<Value>(Value(*label))
                                                : std::nullopt);
}

std::optional<std::string> CheckoutButton::accessibilityLabel() const {
    return impl_->button->accessibilityLabel();
}

// ---- the hybrid plugin ----

void installPlugin(const Installation& installation, WebKitWebView* view,
                   std::vector<std::string> trustedOrigins) {
    auto& impl = *installation.impl_;
    auto adopted = std::make_shared<AdoptedView>();
    adopted->wrapper = impl.factory->adopt(view);
    adopted->wrapper->setUIDelegate(adopted);
    auto plugin = TandriCheckoutPlugin::main();
    plugin->setTrustedOrigins(trustedOrigins);
    TandriCheckoutPlugin::configure(*adopted->wrapper->configuration()->userContentController,
                                    installation.screen());
    impl.adopted->push_back(adopted);
    // The host's view going away takes our side of it along (if the installation is still here).
    struct Drop {
        std::weak_ptr<Installation::Impl::Adopted> list;
        AdoptedView* adopted;
    };
    g_object_weak_ref(
        G_OBJECT(view),
        [](gpointer data, GObject*) {
            auto* drop = static_cast<Drop*>(data);
            if (auto list = drop->list.lock()) {
                std::erase_if(*list, [&](const auto& a) { return a.get() == drop->adopted; });
            }
            delete drop;
        },
        new Drop{impl.adopted, adopted.get()});
}

}  // namespace tandri::gtk
