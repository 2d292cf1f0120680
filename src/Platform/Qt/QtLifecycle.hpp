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

    /// What `follow` does on each change, for a window that is `active` and `minimised`: each
    /// notification goes out only when its state really changed. Resigning comes before going to
    /// the background, and coming to the foreground before becoming active.
    struct State {
        bool active = true;
        bool minimised = false;
    };
    static void transition(State& state, State next);
};

}  // namespace tandri::qt
