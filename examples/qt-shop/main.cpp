// A small Qt Widgets shop with the checkout: the shop's own product list, a quantity and a note,
// and the checkout button laid out among its widgets. Build it against the installed library:
//   cmake -S . -B build && cmake --build build        (find_package(tandri COMPONENTS qt))
//   c++ -std=c++20 main.cpp $(pkg-config --cflags --libs tandri-qt)
// To try it against a staging checkout, set SHOP_CHECKOUT_HOST and SHOP_CHECKOUT_DOMAIN (and
// SHOP_PROXY, SHOP_CERTIFICATE, SHOP_TRUSTED_HOSTS to reach it); it prints each result as a line.

#include <tandri/qt.hpp>
#include <tandri/tandri.hpp>

#include <QApplication>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QSpinBox>
#include <QVBoxLayout>
#include <QWidget>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>

namespace {

std::string env(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

}  // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);

    // The shop's own window and widgets.
    QWidget window;
    window.setWindowTitle("Qt Example Shop");
    window.resize(420, 640);
    auto* content = new QVBoxLayout(&window);
    auto* form = new QFormLayout;
    form->addRow("Trail shoes", new QLabel("19.99"));
    auto* socks = new QSpinBox;
    socks->setRange(1, 1);
    form->addRow("Socks", socks);
    form->addRow("Gift note", new QLineEdit);
    form->addRow("Total", new QLabel("<b>24.99 USD</b>"));
    content->addLayout(form);
    auto* status = new QLabel;
    status->setAlignment(Qt::AlignCenter);
    content->addWidget(status);
    content->addStretch();

    // The checkout, set up over the window.
    tandri::qt::Options options;
    options.applicationId = "com.example.QtShop";
    options.checkoutHost = env("SHOP_CHECKOUT_HOST");
    options.checkoutDomain = env("SHOP_CHECKOUT_DOMAIN");
    options.network.proxy = env("SHOP_PROXY");
    options.network.trustedCertificate = env("SHOP_CERTIFICATE");
    std::istringstream hosts(env("SHOP_TRUSTED_HOSTS"));
    for (std::string host; hosts >> host;) options.network.trustedHosts.push_back(host);
    auto checkout = tandri::qt::install(&window, options);
    if (!checkout) return 1;

    // The button among the shop's widgets, armed with the purchase.
    tandri::TandriProfile profile(tandri::Environment::Sandbox, std::string("my-api-key"),
                                  std::string("Qt Example Shop"));
    tandri::TandriPurchaseInfo purchase;
    purchase.setObject(tandri::Value("24.99"), tandri::kTotal);
    purchase.setObject(tandri::Value("USD"), tandri::kCurrency);
    tandri::qt::CheckoutButton button;
    content->addWidget(button.widget());
    content->setContentsMargins(20, 20, 20, 20);
    button.onCheckout(*checkout, profile, purchase,
                      [status](const tandri::TandriCheckoutResult& r) {
                          const auto last4 = r.lastFourDigits();
                          const std::string text =
                              r.statusName() == "payment.success" && last4 && last4->isString()
                                  ? "Paid with the card ending in " + last4->asString()
                                  : "Checkout ended: " + r.statusName();
                          status->setText(QString::fromStdString(text));
                          std::printf("%s\n", r.statusName().c_str());
                          std::fflush(stdout);
                      });

    window.show();
    const int exitCode = application.exec();
    checkout.reset();
    return exitCode;
}
