// A view with zooming off (the button's and the checkout's) keeps ctrl+wheel from zooming its
// page; a view with zooming on zooms. (Plain wheel events made in the process do not scroll a
// page in this engine, so scrolling off is not checked here.)

#include <QWheelEvent>

#include "EngineFixture.hpp"

namespace tandri::qt {
namespace {

using namespace testing;

// A notch of the wheel, down, as the window system hands it to the engine's input widget.
void wheel(QtWebView& view, Qt::KeyboardModifiers modifiers) {
    QWidget* target = view.widget()->focusProxy() ? view.widget()->focusProxy() : view.widget();
    const QPointF at(target->width() / 2.0, target->height() / 2.0);
    QWheelEvent event(at, target->mapToGlobal(at), QPoint(), QPoint(0, -120), Qt::NoButton,
                      modifiers, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(target, &event);
}

TEST_F(EngineFixture, CtrlWheelZoomsOnlyWhereZoomingIsOn) {
    auto on = shownView();
    auto off = shownView();
    off->setZoomEnabled(false);
    for (auto* view : {on.get(), off.get()}) {
        view->loadHTMLString("<p>zoom</p>", std::string("https://checkout.tandri.test/zoom"));
        ASSERT_TRUE(waitFor(*view, "document.readyState === 'complete' && document.body"));
        ASSERT_TRUE(spinUntil([&] { return view->widget()->focusProxy() != nullptr; }));
    }
    // The refused view first, then the allowed one: once the second has zoomed, the first would
    // have too.
    for (int i = 0; i < 3; ++i) wheel(*off, Qt::ControlModifier);
    for (int i = 0; i < 3; ++i) wheel(*on, Qt::ControlModifier);
    EXPECT_TRUE(spinUntil([&] { return on->page()->zoomFactor() != 1.0; }));
    EXPECT_EQ(off->page()->zoomFactor(), 1.0);
}

}  // namespace
}  // namespace tandri::qt
