#pragma once

// The application life-cycle notifications of a desktop window: losing and regaining the
// activation is resigning and becoming active, being minimised and restored is entering the
// background and the foreground.

class QWidget;

namespace tandri::qt {

class QtLifecycle {
  public:
    /// Posts, on the default notification centre, the life-cycle notifications of `window` for as
    /// long as it lives.
    static void follow(QWidget* window);
};

}  // namespace tandri::qt
