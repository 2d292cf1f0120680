#include "QtShop.hpp"

#include <QFrame>
#include <QHBoxLayout>
#include <QVBoxLayout>
#include <QWebEngineSettings>
#include <utility>

namespace shop {

namespace {

struct Product {
    const char* name;
    const char* price;
};
constexpr Product kProducts[] = {{"Trail shoes", "19.99"}, {"Socks", "5.00"}};
constexpr const char* kTotal = "24.99";

QWidget* productRow(const QString& name, const QString& price, bool bold) {
    auto* row = new QWidget;
    auto* layout = new QHBoxLayout(row);
    auto* left = new QLabel(name);
    auto* right = new QLabel(price);
    if (bold) {
        QFont font = left->font();
        font.setBold(true);
        left->setFont(font);
        right->setFont(font);
    }
    layout->addWidget(left);
    layout->addStretch();
    layout->addWidget(right);
    layout->setContentsMargins(12, 12, 12, 12);
    return row;
}

}  // namespace

Shop::Shop(Settings settings) : window_(std::make_unique<QWidget>()) {
    window_->setWindowTitle("Sandbox Store");
    window_->resize(420, 760);
    // The shop's own content, made before the checkout is set up over the window.
    auto* content = new QVBoxLayout(window_.get());
    auto* list = new QFrame;
    list->setFrameShape(QFrame::StyledPanel);
    auto* rows = new QVBoxLayout(list);
    for (const auto& product : kProducts)
        rows->addWidget(productRow(product.name, product.price, false));
    rows->addWidget(productRow("Total", "24.99 USD", true));
    content->addWidget(list);
    resultLabel_ = new QLabel;
    resultLabel_->setAlignment(Qt::AlignCenter);
    content->addWidget(resultLabel_);
    content->addStretch();

    tandri::qt::Options options;
    options.applicationId = "com.example.SandboxStore";
    options.network = settings.network;
    options.checkoutHost = settings.checkoutHost;
    options.checkoutDomain = settings.checkoutDomain;
    options.keychain = settings.keychain;
    checkout_ = tandri::qt::install(window_.get(), options);
    if (!checkout_) return;

    tandri::TandriProfile profile(tandri::Environment::Sandbox, std::string("sandbox-api-key"),
                                  std::string("Sandbox Store"));
    tandri::TandriPurchaseInfo purchase;
    purchase.setObject(tandri::Value(kTotal), tandri::kTotal);
    purchase.setObject(tandri::Value("USD"), tandri::kCurrency);
    auto done = [this](const tandri::TandriCheckoutResult& result) { showResult(result); };

    if (settings.flow == Flow::Hybrid) {
        // The shop's own page in its own web view (in the checkout's profile, so that it goes
        // through the same network settings); the page opens the checkout window itself.
        page_ = new QWebEngineView;
        page_->setPage(new QWebEnginePage(checkout_->webProfile(), page_));
        page_->page()->settings()->setAttribute(QWebEngineSettings::JavascriptCanOpenWindows, true);
        tandri::qt::installPlugin(*checkout_, page_);
        page_->load(QUrl(QString::fromStdString(settings.merchantPageUrl)));
        list->hide();
        content->insertWidget(0, page_, 1);
        return;
    }

    if (settings.flow == Flow::Manual) {
        // The shop's own button: it starts a checkout once the session is ready.
        ownPay_ = new QPushButton("Pay with my store's own button");
        ownPay_->setMinimumHeight(56);
        content->addWidget(ownPay_);
        QObject::connect(ownPay_, &QPushButton::clicked, [this] {
            if (startCheckout_) std::exchange(startCheckout_, {})();
        });
        tandri::TandriCheckoutSDK::configureManualCheckoutSessionWithProfile(
            profile, purchase, checkout_->screen(),
            [this, started = std::make_shared<bool>(false)](std::function<void()> closure) {
                // First the closure that starts the checkout; once started, the one that lets
                // the page go on, called at once. A re-armed session starts over.
                if (!*started) {
                    startCheckout_ = [closure, started] {
                        *started = true;
                        closure();
                    };
                } else {
                    *started = false;
                    goOn_ = std::move(closure);
                    goOn_();
                }
            },
            done);
        return;
    }
    button_ = std::make_unique<tandri::qt::CheckoutButton>();
    content->addWidget(button_->widget());
    content->setContentsMargins(20, 20, 20, 20);
    button_->onCheckout(*checkout_, profile, purchase, done);
}

Shop::~Shop() {
    button_.reset();
    checkout_.reset();
    window_.reset();
}

QWidget* Shop::payControl() const {
    return ownPay_ ? static_cast<QWidget*>(ownPay_) : button_ ? button_->widget() : nullptr;
}

void Shop::showResult(const tandri::TandriCheckoutResult& result) {
    const auto last4 = result.lastFourDigits();
    const std::string text =
        result.statusName() == "payment.success"
            ? "Paid with the card ending in " +
                  (last4 && last4->isString() ? last4->asString() : std::string("?"))
            : "Checkout ended: " + result.statusName();
    resultLabel_->setText(QString::fromStdString(text));
    if (onResult) onResult(result);
}

}  // namespace shop
