#include "Platform/Qt/ViewWidget.hpp"

#include <cairo.h>

#include <QImage>
#include <QMouseEvent>
#include <QPainter>
#include <QTimer>
#include <QWebEngineView>
#include <chrono>
#include <cstring>

#include "Core/Views/Layout.hpp"
#include "Platform/Desktop/ViewPainter.hpp"
#include "Platform/Desktop/ViewTree.hpp"
#include "Platform/Qt/QtWebView.hpp"

namespace tandri::qt {

namespace {

using desktop::HostedWebView;

/// Paints one layer of `root` at `size` into a picture Qt can draw.
QImage paintLayer(const View& root, QSize size, desktop::PaintLayer layer) {
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    cairo_surface_t* surface =
        cairo_image_surface_create_for_data(image.bits(), CAIRO_FORMAT_ARGB32, image.width(),
                                            image.height(), static_cast<int>(image.bytesPerLine()));
    cairo_t* cr = cairo_create(surface);
    desktop::paintViewTree(cr, root, ViewWidget::animationSeconds(), layer);
    cairo_destroy(cr);
    cairo_surface_flush(surface);
    cairo_surface_destroy(surface);
    return image;
}

}  // namespace

// What lies over the web views; the mouse goes through it to whatever is under.
class ViewWidget::OverLayer : public QWidget {
  public:
    explicit OverLayer(ViewWidget* owner) : QWidget(owner), owner_(owner) {
        setAttribute(Qt::WA_TransparentForMouseEvents);
        setAttribute(Qt::WA_NoSystemBackground);
    }

  protected:
    void paintEvent(QPaintEvent*) override {
        if (!owner_->root_ || width() <= 0 || height() <= 0) return;
        QPainter painter(this);
        painter.drawImage(0, 0,
                          paintLayer(*owner_->root_, size(), desktop::PaintLayer::OverWebView));
    }

  private:
    ViewWidget* owner_;
};

ViewWidget::ViewWidget(std::shared_ptr<View> root, QSize natural, QWidget* parent)
    : QWidget(parent), root_(std::move(root)), natural_(natural) {
    setAttribute(Qt::WA_NoSystemBackground);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Preferred);
    over_ = new OverLayer(this);
    timer_ = new QTimer(this);
    connect(timer_, &QTimer::timeout, this, [this] { sync(); });
    timer_->start(16);
    sync();
}

ViewWidget::~ViewWidget() {
    // The tree's web views belong to their owners: they leave before this widget's children go.
    for (auto& weak : placed_) {
        if (auto view = std::dynamic_pointer_cast<QtWebView>(weak.lock())) {
            if (QWidget* page = view->widget(); page && page->parentWidget() == this) {
                page->hide();
                page->setParent(nullptr);
            }
        }
    }
}

double ViewWidget::animationSeconds() {
    return desktop::animationSeconds();
}

void ViewWidget::sync() {
    if (!root_) return;
    const QSize size = width() > 1 && height() > 1 ? this->size() : natural_;
    layoutViewTree(*root_,
                   {0, 0, static_cast<double>(size.width()), static_cast<double>(size.height())});
    const std::vector<HostedWebView> hosted = desktop::hostedWebViews(*root_);
    std::vector<std::weak_ptr<WebView>> placed;
    for (const auto& h : hosted) {
        auto* qtView = dynamic_cast<QtWebView*>(h.webView.get());
        if (qtView == nullptr || qtView->widget() == nullptr) continue;
        QWidget* page = qtView->widget();
        if (page->parentWidget() != this) page->setParent(this);
        const QRect frame(static_cast<int>(h.frame.x), static_cast<int>(h.frame.y),
                          std::max(1, static_cast<int>(h.frame.width)),
                          std::max(1, static_cast<int>(h.frame.height)));
        if (page->geometry() != frame) page->setGeometry(frame);
        if (page->isVisible() != h.visible) page->setVisible(h.visible);
        // A page whose host takes no touches (the checkout button's) does not get the person's
        // clicks: they are taps on the tree, as anywhere else in the widget.
        page->setAttribute(Qt::WA_TransparentForMouseEvents, !h.interactive);
        for (QWidget* child : page->findChildren<QWidget*>()) {
            child->setAttribute(Qt::WA_TransparentForMouseEvents, !h.interactive);
        }
        placed.push_back(h.webView);
    }
    for (auto& weak : placed_) {
        auto view = std::dynamic_pointer_cast<QtWebView>(weak.lock());
        if (!view || !view->widget() || view->widget()->parentWidget() != this) continue;
        const bool still = std::any_of(placed.begin(), placed.end(), [&](const auto& p) {
            return p.lock() == std::static_pointer_cast<WebView>(view);
        });
        if (!still) {
            view->widget()->hide();
            view->widget()->setParent(nullptr);
        }
    }
    placed_ = std::move(placed);
    if (over_->geometry() != rect()) over_->setGeometry(rect());
    over_->raise();

    const std::uint64_t print = desktop::fingerprintOf(*root_);
    if (print != drawn_ || desktop::isAnimating(*root_)) {
        drawn_ = print;
        update();
        over_->update();
    }
}

bool ViewWidget::tap(double x, double y) {
    return root_ && desktop::performTap(root_, x, y);
}

void ViewWidget::paintEvent(QPaintEvent*) {
    if (!root_ || width() <= 0 || height() <= 0) return;
    QPainter painter(this);
    painter.drawImage(0, 0, paintLayer(*root_, size(), desktop::PaintLayer::UnderWebView));
}

void ViewWidget::mousePressEvent(QMouseEvent* event) {
    event->accept();
}

void ViewWidget::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) {
        tap(event->position().x(), event->position().y());
    }
    event->accept();
}

}  // namespace tandri::qt
