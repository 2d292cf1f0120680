#include "Platform/Qt/QtPresenter.hpp"

#include <QCoreApplication>
#include <QTimer>
#include <algorithm>

#include "Platform/Platform.hpp"
#include "Platform/Qt/ViewWidget.hpp"

namespace tandri::qt {

namespace {

// After what is happening now, among the engine's own events.
void runSoon(std::function<void()> work, int milliseconds = 0) {
    QTimer::singleShot(milliseconds, std::move(work));
}

}  // namespace

QtPresenter::QtPresenter(QWidget* window)
    : window_(window), root_(std::make_shared<ViewController>()), timer_(new QTimer) {
    QObject::connect(timer_, &QTimer::timeout, [this] { sync(); });
    timer_->start(16);
    sync();
}

QtPresenter::~QtPresenter() {
    *alive_ = false;
    if (QCoreApplication::instance() == nullptr) return;  // Qt's objects went with it
    delete timer_;
    for (auto& screen : screens_) delete screen.widget.data();
    if (focusBefore_) focusBefore_->setFocus(Qt::OtherFocusReason);
}

QSize QtPresenter::contentSize() const {
    return window_ ? window_->size() : QSize(0, 0);
}

std::shared_ptr<ViewController> QtPresenter::topViewController() const {
    auto top = root_;
    while (auto next = top->presentedViewController()) top = next;
    return top;
}

std::vector<QWidget*> QtPresenter::screens() const {
    std::vector<QWidget*> out;
    for (const auto& screen : screens_)
        if (screen.widget) out.push_back(screen.widget);
    return out;
}

void QtPresenter::sync() {
    std::vector<std::shared_ptr<ViewController>> chain;
    for (auto c = root_->presentedViewController(); c; c = c->presentedViewController()) {
        chain.push_back(c);
    }
    if (auto pending = pending_.lock();
        pending && std::find(chain.begin(), chain.end(), pending) == chain.end()) {
        chain.push_back(pending);
    }
    std::size_t keep = 0;
    while (keep < screens_.size() && keep < chain.size() &&
           screens_[keep].controller == chain[keep] && screens_[keep].widget) {
        ++keep;
    }
    const bool wasCovered = !screens_.empty();
    while (screens_.size() > keep) {
        delete screens_.back().widget.data();
        screens_.pop_back();
    }
    const QSize size = contentSize();
    for (std::size_t i = keep; i < chain.size(); ++i) {
        // A child of the window outside its layout, over everything the host put there.
        auto* widget = new ViewWidget(chain[i]->view(), size, window_);
        widget->setFocusPolicy(Qt::StrongFocus);
        widget->setGeometry(QRect(QPoint(0, 0), size));
        widget->show();
        widget->raise();
        screens_.push_back({chain[i], widget});
    }
    for (auto& screen : screens_) {
        if (screen.widget && screen.widget->size() != size) {
            screen.widget->setGeometry(QRect(QPoint(0, 0), size));
        }
    }
    const Rect bounds{0, 0, static_cast<double>(size.width()), static_cast<double>(size.height())};
    root_->view()->setFrame(bounds);
    if (Platform::current().presenter.get() == this) Platform::current().mainScreenBounds = bounds;
    if (!wasCovered && !screens_.empty() && window_) {
        focusBefore_ = window_->focusWidget();
        screens_.back().widget->setFocus(Qt::OtherFocusReason);
    }
    if (wasCovered && screens_.empty()) {
        if (focusBefore_) focusBefore_->setFocus(Qt::OtherFocusReason);
        focusBefore_ = nullptr;
    }
}

void QtPresenter::present(std::shared_ptr<ViewController> presenting,
                          std::shared_ptr<ViewController> presented, bool animated,
                          std::function<void()> completion) {
    if (!presenting || !presented) return;
    std::weak_ptr<bool> alive = alive_;
    auto finish = std::make_shared<std::function<void()>>(
        [this, alive, presenting, presented, animated, completion = std::move(completion)] {
            if (alive.expired()) return;
            if (pending_.lock() == presented) pending_.reset();
            const bool done = ViewController::completePresentation(presenting, presented, animated);
            sync();
            if (done && completion) completion();
        });
    auto once = [finish] {
        if (auto run = std::exchange(*finish, nullptr)) run();
    };
    if (!pending_.expired() || presenting != topViewController()) {
        // Something is on its way in, or `presenting` is covered: the core refuses it.
        runSoon(once);
        return;
    }
    pending_ = presented;
    sync();
    arriving_ = finish;
    runSoon(once, animated ? kTransitionMilliseconds : 0);
}

void QtPresenter::hurry() {
    if (auto finish = std::exchange(arriving_, nullptr); finish && *finish) {
        runSoon([finish] {
            if (auto run = std::exchange(*finish, nullptr)) run();
        });
    }
}

void QtPresenter::dismiss(std::shared_ptr<ViewController> presenting, bool animated,
                          std::function<void()> completion) {
    if (!presenting) return;
    std::weak_ptr<bool> alive = alive_;
    runSoon(
        [this, alive, presenting, animated, completion = std::move(completion)] {
            if (alive.expired()) return;
            const bool done = ViewController::completeDismissal(presenting, animated);
            sync();
            if (done && completion) completion();
        },
        animated ? kTransitionMilliseconds : 0);
}

bool QtPresenter::tap(double x, double y) {
    sync();
    return !screens_.empty() && screens_.back().widget && screens_.back().widget->tap(x, y);
}

bool QtPresenter::writeSnapshot(const std::string& path) {
    sync();
    if (!window_) return false;
    return window_->grab().save(QString::fromStdString(path), "PNG");
}

}  // namespace tandri::qt
