// The Qt platform's one-call set-up and its public pieces: every port wired with the desktop's
// defaults, and the checkout button as a widget.

#include <QCoreApplication>
#include <QTimer>
#include <QWebEngineProfile>
#include <QWidget>
#include <algorithm>
#include <utility>

#include "Core/Utils/Logging.hpp"
#include "Core/Utils/URL.hpp"
#include "Core/Views/ViewController.hpp"
#include "Platform/Desktop/Setup.hpp"
#include "Platform/Qt/QtCookies.hpp"
#include "Platform/Qt/QtLifecycle.hpp"
#include "Platform/Qt/QtMainQueue.hpp"
#include "Platform/Qt/QtPresenter.hpp"
#include "Platform/Qt/QtURLOpener.hpp"
#include "Platform/Qt/QtWebView.hpp"
#include "Platform/Qt/ViewWidget.hpp"
#include "Public/Hybrid/TandriCheckoutPlugin.hpp"
#include "Public/Native/TandriCheckoutButton.hpp"
#include "tandri/qt.hpp"

namespace tandri::qt {

namespace {

/// Decodes the loading screen's frames while the event loop has nothing else to do, one a turn.
void prepareLoadingFrames() {
    auto next = std::make_shared<int>(0);
    auto* timer = new QTimer;
    QObject::connect(timer, &QTimer::timeout, [timer, next] {
        if (!desktop::decodeNextLoadingFrame(*next)) timer->deleteLater();
    });
    timer->start(0);
}

/// The installation in force: one per process, as the web profile and the stores are.
std::weak_ptr<Installation>& current() {
    static std::weak_ptr<Installation> installation;
    return installation;
}

}  // namespace

struct Installation::Impl {
    std::shared_ptr<QtWebViewFactory> factory;
    std::shared_ptr<QtPresenter> presenter;
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

QWebEngineProfile* Installation::webProfile() const {
    return impl_->factory->profile();
}

const std::string& Installation::dataDirectory() const {
    return impl_->dataDirectory;
}

bool Installation::keychainInKeyring() const {
    return impl_->keyring;
}

bool Installation::writeSnapshot(const std::string& path) const {
    return impl_->presenter->writeSnapshot(path);
}

std::shared_ptr<Installation> install(QWidget* window, Options options) {
    if (!desktop::acceptSetup(window != nullptr, !current().expired(), options)) return nullptr;
    window = window->window();
    auto impl = std::make_unique<Installation::Impl>();
    impl->dataDirectory = options.dataDirectory;

    Platform ports;
    ports.systemLog = Platform::current().systemLog;  // where the lines went so far
    ports.mainQueue = std::make_shared<QtMainQueue>();
    impl->factory = std::make_shared<QtWebViewFactory>(
        NetworkSettings{options.network.proxy, options.network.trustedCertificate,
                        options.network.trustedHosts},
        impl->dataDirectory + "/webengine");
    ports.webViews = impl->factory;
    ports.cookies = std::make_shared<QtCookies>(impl->factory->sharedProfile());
    std::string vendor = QCoreApplication::organizationName().toStdString();
    if (vendor.empty()) vendor = QCoreApplication::applicationName().toStdString();
    if (!desktop::installCommonPorts(ports, options, vendor, impl->keyring)) {
        return nullptr;  // the store said why
    }
    ports.urlOpener = std::make_shared<QtURLOpener>();
    impl->presenter = std::make_shared<QtPresenter>(window);
    ports.presenter = impl->presenter;
    ports.mainScreenBounds =
        Rect{0, 0, static_cast<double>(window->width()), static_cast<double>(window->height())};
    Platform::install(std::move(ports));
    QtLifecycle::follow(window);
    TandriCheckoutSDK::configure();
    prepareLoadingFrames();
    auto installation = std::make_shared<Installation>(std::move(impl));
    current() = installation;
    return installation;
}

std::shared_ptr<Installation> install(QWidget* window, std::string applicationId) {
    Options options;
    options.applicationId = std::move(applicationId);
    return install(window, std::move(options));
}

// ---- the button ----

struct CheckoutButton::Impl {
    std::shared_ptr<TandriCheckoutButton> button;
    QPointer<ViewWidget> widget;
    desktop::TapToStart tapToStart;
};

CheckoutButton::CheckoutButton() : impl_(std::make_unique<Impl>()) {
    impl_->button = TandriCheckoutButton::initWithFrame({0, 0, 380, 56});
    impl_->widget = new ViewWidget(impl_->button, QSize(380, 56));
    impl_->widget->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    impl_->widget->setCursor(Qt::PointingHandCursor);
}

CheckoutButton::~CheckoutButton() {
    // A widget no layout took is ours; one a layout took goes with its parent.
    if (impl_->widget && impl_->widget->parentWidget() == nullptr) delete impl_->widget.data();
}

QWidget* CheckoutButton::widget() const {
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

void installPlugin(const Installation& installation, QWebEngineView* view,
                   std::vector<std::string> trustedOrigins) {
    if (view == nullptr) return;
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
    std::weak_ptr<Installation::Impl::Adopted> list = impl.adopted;
    QObject::connect(view, &QObject::destroyed, [list, raw = adopted.get()] {
        if (auto held = list.lock()) {
            std::erase_if(*held, [raw](const auto& a) { return a.get() == raw; });
        }
    });
}

}  // namespace tandri::qt
