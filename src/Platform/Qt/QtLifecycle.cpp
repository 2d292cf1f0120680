#include "Platform/Qt/QtLifecycle.hpp"

#include <QEvent>
#include <QVariant>
#include <QWidget>

#include "Core/Utils/NotificationCenter.hpp"

namespace tandri::qt {

namespace {

class Follower : public QObject {
  public:
    explicit Follower(QWidget* window)
        : QObject(window),
          window_(window),
          state_{window->isActiveWindow(), window->isMinimized()} {}

    bool eventFilter(QObject* watched, QEvent* event) override {
        if (watched == window_) {
            switch (event->type()) {
                case QEvent::WindowActivate:
                case QEvent::WindowDeactivate:
                case QEvent::WindowStateChange: {
                    QtLifecycle::State next{window_->isActiveWindow(), window_->isMinimized()};
                    QtLifecycle::transition(state_, next);
                    break;
                }
                default:
                    break;
            }
        }
        return false;
    }

  private:
    QWidget* window_;
    QtLifecycle::State state_;
};

}  // namespace

void QtLifecycle::follow(QWidget* window) {
    constexpr const char* kFollowed = "tandriLifecycleFollowed";
    if (window == nullptr || window->property(kFollowed).toBool()) return;
    window->setProperty(kFollowed, true);
    window->installEventFilter(new Follower(window));
}

void QtLifecycle::transition(State& state, State next) {
    auto& center = NotificationCenter::defaultCenter();
    if (state.active && !next.active) center.post(NotificationName::ApplicationWillResignActive);
    if (!state.minimised && next.minimised) {
        center.post(NotificationName::ApplicationDidEnterBackground);
    }
    if (state.minimised && !next.minimised) {
        center.post(NotificationName::ApplicationWillEnterForeground);
    }
    if (!state.active && next.active) center.post(NotificationName::ApplicationDidBecomeActive);
    state = next;
}

}  // namespace tandri::qt
