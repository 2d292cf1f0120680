// The GTK platform's one-call set-up and its public pieces: every port wired with the desktop's
// defaults, the checkout button as a widget, the hybrid plugin on a host's own web view.

#include <glib.h>

#include <algorithm>
#include <utility>

#include "Core/Utils/Logging.hpp"
#include "Core/Utils/URL.hpp"
#include "Core/Views/ViewController.hpp"
#include "Platform/Desktop/Setup.hpp"
#include "Platform/Gtk/GioURLOpener.hpp"
#include "Platform/Gtk/GtkCookies.hpp"
#include "Platform/Gtk/GtkLifecycle.hpp"
#include "Platform/Gtk/GtkMainQueue.hpp"
#include "Platform/Gtk/GtkPresenter.hpp"
#include "Platform/Gtk/GtkWebView.hpp"
#include "Platform/Gtk/ViewWidget.hpp"
#include "Platform/Gtk/Widgets.hpp"
#include "Public/Hybrid/TandriCheckoutPlugin.hpp"
#include "Public/Native/TandriCheckoutButton.hpp"
#include "tandri/gtk.hpp"

namespace tandri::gtk {

namespace {

/// Decodes the loading screen's frames while the main loop has nothing else to do, one a turn.
void prepareLoadingFrames() {
    g_idle_add_full(
        G_PRIORITY_LOW,
        [](gpointer data) -> gboolean {
            return desktop::decodeNextLoadingFrame(*static_cast<int*>(data)) ? G_SOURCE_CONTINUE
                                                                             : G_SOURCE_REMOVE;
        },
        new int(0), [](gpointer data) { delete static_cast<int*>(data); });
}

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
    using Adopted = std::vector<std::shared_ptr<desktop::AdoptedView>>;
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
    if (!desktop::acceptSetup(window != nullptr, !current().expired(), options)) return nullptr;
    auto impl = std::make_unique<Installation::Impl>();
    impl->window = window;
    impl->dataDirectory = options.dataDirectory;

    Platform ports;
    ports.systemLog = Platform::current().systemLog;  // where the lines went so far
    ports.mainQueue = std::make_shared<GtkMainQueue>();
    impl->factory = std::make_shared<GtkWebViewFactory>(
        NetworkSettings{options.network.proxy, options.network.trustedCertificate,
                        options.network.trustedHosts},
        impl->dataDirectory + "/webkit");
    ports.webViews = impl->factory;
    ports.cookies = std::make_shared<GtkCookies>(impl->factory->context());
    const char* name = g_get_application_name();
    if (!desktop::installCommonPorts(ports, options, name != nullptr ? name : "", impl->keyring)) {
        return nullptr;  // the store said why
    }
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
    desktop::TapToStart tapToStart;
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
    impl_->tapToStart.arm(*impl_->button, std::move(profile), std::move(purchaseInfo),
                          installation.screen(), std::move(completion));
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
    auto adopted = std::make_shared<desktop::AdoptedView>();
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
        desktop::AdoptedView* adopted;
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
