#pragma once

// A Qt widget that shows a core view tree: the tree painted with cairo into an image (the
// desktop painter shared with GTK), the web views it hosts placed over the picture as their own
// widgets, and what lies over them (a spinner, a blur) on a layer above those that lets the
// mouse through. The tree's root takes the widget's size as its frame, so a host lays the widget
// out like any other (the checkout button in a layout, say); clicks become taps on the tree.

#include <QWidget>
#include <cstdint>
#include <memory>

#include "Core/Views/View.hpp"
#include "Platform/WebView.hpp"

class QTimer;

namespace tandri::qt {

class ViewWidget : public QWidget {
  public:
    /// Shows `root`, asking for `natural` and taking whatever it is given.
    ViewWidget(std::shared_ptr<View> root, QSize natural, QWidget* parent = nullptr);
    ~ViewWidget() override;

    const std::shared_ptr<View>& root() const { return root_; }
    QSize sizeHint() const override { return natural_; }
    QSize minimumSizeHint() const override { return {1, 1}; }

    /// Brings the widget in line with its tree now: layout to its size, web-view placement,
    /// repaint if anything looks different. Runs by itself every frame.
    void sync();
    /// A tap at widget coordinates, as a click there does; answers whether anything took it.
    bool tap(double x, double y);

    /// How far into their animations trees are drawn now, in seconds.
    static double animationSeconds();

  protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

  private:
    class OverLayer;
    std::shared_ptr<View> root_;
    QSize natural_;
    OverLayer* over_;
    QTimer* timer_;
    std::uint64_t drawn_ = 0;
    std::vector<std::weak_ptr<WebView>> placed_;
};

}  // namespace tandri::qt
