#include "Platform/Qt/QtLifecycle.hpp"

#include <QEvent>
#include <QVariant>
#include <QWidget>

#include "Platform/Desktop/Lifecycle.hpp"

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
                    desktop::transition(state_,
                                        {window_->isActiveWindow(), window_->isMinimized()});
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
    desktop::WindowState state_;
};

}  // namespace

void QtLifecycle::follow(QWidget* window) {
    constexpr const char* kFollowed = "tandriLifecycleFollowed";
    if (window == nullptr || window->property(kFollowed).toBool()) return;
    window->setProperty(kFollowed, true);
    window->installEventFilter(new Follower(window));
}

}  // namespace tandri::qt
