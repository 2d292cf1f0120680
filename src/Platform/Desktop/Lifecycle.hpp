#pragma once

// The application life-cycle notifications of a desktop window: losing and regaining focus is
// resigning and becoming active, being minimised and restored is entering the background and the
// foreground. Each toolkit hears its window's changes and tells them here.

namespace tandri::desktop {

struct WindowState {
    bool active = true;
    bool minimised = false;
};

/// Posts, on the default notification centre, what going from `state` to `next` means, and takes
/// `next` as the state: each notification goes out only when its state really changed. Resigning
/// comes before going to the background, and coming to the foreground before becoming active.
void transition(WindowState& state, WindowState next);

}  // namespace tandri::desktop
