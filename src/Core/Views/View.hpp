// The retained view tree: views with their properties, accessibility, gesture recognisers and
// layout constraints kept as data. Platforms read the tree to draw it; tests read it directly.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Core/Views/Bitmap.hpp"
#include "Core/Views/Geometry.hpp"

namespace tandri {

class View;
class ViewController;
class WebView;

/// Something in the responder chain: a view or a view controller.
class Responder {
  public:
    virtual ~Responder() = default;
    virtual std::shared_ptr<Responder> nextResponder() const = 0;
};

/// Accessibility trait bits, with the platform's values.
namespace AccessibilityTraits {
inline constexpr std::uint64_t None = 0;
inline constexpr std::uint64_t Button = 1ULL << 0;
inline constexpr std::uint64_t Link = 1ULL << 1;
inline constexpr std::uint64_t Image = 1ULL << 2;
inline constexpr std::uint64_t StaticText = 1ULL << 6;
inline constexpr std::uint64_t UpdatesFrequently = 1ULL << 10;
}  // namespace AccessibilityTraits

/// Autoresizing mask bits, with the platform's values.
namespace AutoresizingMask {
inline constexpr unsigned None = 0;
inline constexpr unsigned FlexibleWidth = 1U << 1;
inline constexpr unsigned FlexibleHeight = 1U << 4;
}  // namespace AutoresizingMask

enum class LayoutAttribute {
    NotAnAttribute,
    Left,
    Right,
    Top,
    Bottom,
    Leading,
    Trailing,
    Width,
    Height,
    CenterX,
    CenterY
};
enum class LayoutRelation { LessThanOrEqual = -1, Equal = 0, GreaterThanOrEqual = 1 };

/// One end of a constraint: a view, or that view's safe-area layout guide.
struct LayoutItem {
    std::weak_ptr<View> view;
    bool safeArea = false;

    std::shared_ptr<View> lock() const { return view.lock(); }
};

/// first.attribute (relation) second.attribute × multiplier + constant.
struct LayoutConstraint {
    LayoutItem firstItem;
    LayoutAttribute firstAttribute = LayoutAttribute::NotAnAttribute;
    LayoutRelation relation = LayoutRelation::Equal;
    LayoutItem secondItem;
    LayoutAttribute secondAttribute = LayoutAttribute::NotAnAttribute;
    double multiplier = 1;
    double constant = 0;
    bool active = true;
};

/// A gesture recogniser as data; `fire` performs its action as a recognised gesture would.
struct GestureRecognizer {
    enum class Kind { Tap };
    Kind kind = Kind::Tap;
    int numberOfTapsRequired = 1;
    bool enabled = true;
    std::function<void()> action;

    void fire() const {
        if (enabled && action) action();
    }
};

class View : public Responder, public std::enable_shared_from_this<View> {
  public:
    explicit View(Rect frame = {}) : frame_(frame) {}
    ~View() override = default;

    static std::shared_ptr<View> make(Rect frame = {}) { return std::make_shared<View>(frame); }

    // Geometry.
    Rect frame() const { return frame_; }
    void setFrame(Rect frame) { frame_ = frame; }
    Rect bounds() const { return {0, 0, frame_.width, frame_.height}; }
    unsigned autoresizingMask() const { return autoresizingMask_; }
    void setAutoresizingMask(unsigned mask) { autoresizingMask_ = mask; }
    bool translatesAutoresizingMaskIntoConstraints() const { return translatesMask_; }
    void setTranslatesAutoresizingMaskIntoConstraints(bool on) { translatesMask_ = on; }

    // Appearance.
    const std::optional<Color>& backgroundColor() const { return backgroundColor_; }
    void setBackgroundColor(std::optional<Color> color) { backgroundColor_ = std::move(color); }
    const std::optional<Color>& tintColor() const { return tintColor_; }
    void setTintColor(std::optional<Color> color) { tintColor_ = std::move(color); }
    double alpha() const { return alpha_; }
    void setAlpha(double alpha) { alpha_ = alpha; }
    bool isHidden() const { return hidden_; }
    void setHidden(bool hidden) { hidden_ = hidden; }
    bool isUserInteractionEnabled() const { return userInteractionEnabled_; }
    void setUserInteractionEnabled(bool on) { userInteractionEnabled_ = on; }

    // Accessibility.
    bool isAccessibilityElement() const { return accessibilityElement_; }
    void setIsAccessibilityElement(bool on) { accessibilityElement_ = on; }
    std::uint64_t accessibilityTraits() const { return accessibilityTraits_; }
    void setAccessibilityTraits(std::uint64_t traits) { accessibilityTraits_ = traits; }
    const std::optional<std::string>& accessibilityLabel() const { return accessibilityLabel_; }
    void setAccessibilityLabel(std::optional<std::string> label) {
        accessibilityLabel_ = std::move(label);
    }

    // Hierarchy. A view added elsewhere leaves its old superview first.
    std::shared_ptr<View> superview() const { return superview_.lock(); }
    const std::vector<std::shared_ptr<View>>& subviews() const { return subviews_; }
    void addSubview(const std::shared_ptr<View>& view);
    void removeFromSuperview();
    /// Whether `view` is this view or lies anywhere beneath it.
    bool isDescendantOf(const View& ancestor) const;

    // Gestures and constraints.
    const std::vector<GestureRecognizer>& gestureRecognizers() const { return gestures_; }
    void addGestureRecognizer(GestureRecognizer recognizer) {
        gestures_.push_back(std::move(recognizer));
    }
    const std::vector<LayoutConstraint>& constraints() const { return constraints_; }
    void addConstraint(LayoutConstraint constraint) {
        constraints_.push_back(std::move(constraint));
    }
    void addConstraints(std::vector<LayoutConstraint> constraints);
    /// The first active constraint held here whose first item is `item` with `attribute`.
    const LayoutConstraint* constraintFor(const View& item, LayoutAttribute attribute) const;

    /// The owning view controller when this is its root view, otherwise the superview.
    std::shared_ptr<Responder> nextResponder() const override;
    /// The view controller that owns this view: the responder walk stopped at the first object
    /// that is not a view, when that object is a view controller.
    std::shared_ptr<ViewController> getParentViewController() const;

  private:
    friend class ViewController;

    Rect frame_;
    unsigned autoresizingMask_ = AutoresizingMask::None;
    bool translatesMask_ = true;
    std::optional<Color> backgroundColor_;
    std::optional<Color> tintColor_;
    double alpha_ = 1;
    bool hidden_ = false;
    bool userInteractionEnabled_ = true;
    bool accessibilityElement_ = false;
    std::uint64_t accessibilityTraits_ = AccessibilityTraits::None;
    std::optional<std::string> accessibilityLabel_;
    std::weak_ptr<View> superview_;
    std::vector<std::shared_ptr<View>> subviews_;
    std::vector<GestureRecognizer> gestures_;
    std::vector<LayoutConstraint> constraints_;
    std::weak_ptr<ViewController> viewController_;
};

/// Constraint helpers: `constrain(a, Top, b, Bottom, 8)` reads a.top == b.bottom + 8.
LayoutConstraint constrain(const std::shared_ptr<View>& first, LayoutAttribute firstAttribute,
                           const std::shared_ptr<View>& second, LayoutAttribute secondAttribute,
                           double constant = 0, double multiplier = 1,
                           LayoutRelation relation = LayoutRelation::Equal);
/// `constrainToSafeArea` when `safeArea`, else `constrain`: for layouts that pin to the safe area
/// where the system has one and to the view itself before.
LayoutConstraint constrainToEdge(bool safeArea, const std::shared_ptr<View>& first,
                                 LayoutAttribute firstAttribute,
                                 const std::shared_ptr<View>& second,
                                 LayoutAttribute secondAttribute, double constant = 0);
LayoutConstraint constrainToSafeArea(const std::shared_ptr<View>& first,
                                     LayoutAttribute firstAttribute,
                                     const std::shared_ptr<View>& second,
                                     LayoutAttribute secondAttribute, double constant = 0);
/// A size constraint with no second item: first.attribute == constant.
LayoutConstraint constrainConstant(const std::shared_ptr<View>& first, LayoutAttribute attribute,
                                   double constant);

class ImageView : public View {
  public:
    /// The platform's numbers for how an image fills the view.
    enum class ContentMode { ScaleToFill = 0, ScaleAspectFit = 1, ScaleAspectFill = 2 };
    using View::View;

    ContentMode contentMode() const { return contentMode_; }
    void setContentMode(ContentMode mode) { contentMode_ = mode; }

    const BitmapRef& image() const { return image_; }
    void setImage(BitmapRef image) { image_ = std::move(image); }
    const std::vector<BitmapRef>& animationImages() const { return animationImages_; }
    void setAnimationImages(std::vector<BitmapRef> images) { animationImages_ = std::move(images); }
    double animationDuration() const { return animationDuration_; }
    void setAnimationDuration(double seconds) { animationDuration_ = seconds; }
    /// 0 repeats forever.
    int animationRepeatCount() const { return animationRepeatCount_; }
    void setAnimationRepeatCount(int count) { animationRepeatCount_ = count; }
    bool isAnimating() const { return animating_; }
    /// Starts the frame animation; without animation images there is nothing to animate.
    void startAnimating() { animating_ = !animationImages_.empty(); }
    void stopAnimating() { animating_ = false; }

  private:
    ContentMode contentMode_ = ContentMode::ScaleToFill;
    BitmapRef image_;
    std::vector<BitmapRef> animationImages_;
    double animationDuration_ = 0;
    int animationRepeatCount_ = 0;
    bool animating_ = false;
};

enum class ControlEvent { TouchUpInside, TouchDown, ValueChanged };

class Button : public View {
  public:
    explicit Button(Rect frame = {}) : View(frame) {
        setAccessibilityTraits(AccessibilityTraits::Button);
        setIsAccessibilityElement(true);
    }

    const BitmapRef& image() const { return image_; }
    void setImage(BitmapRef image) { image_ = std::move(image); }
    EdgeInsets contentEdgeInsets() const { return contentInsets_; }
    void setContentEdgeInsets(EdgeInsets insets) { contentInsets_ = insets; }
    EdgeInsets imageEdgeInsets() const { return imageInsets_; }
    void setImageEdgeInsets(EdgeInsets insets) { imageInsets_ = insets; }
    bool isEnabled() const { return enabled_; }
    void setEnabled(bool enabled) { enabled_ = enabled; }

    void addAction(ControlEvent event, std::function<void()> action);
    /// Runs the actions registered for `event`, in the order added, as a touch would; a
    /// disabled button or one that takes no touches runs none.
    void sendActions(ControlEvent event) const;
    std::size_t actionCount(ControlEvent event) const;

  private:
    BitmapRef image_;
    EdgeInsets contentInsets_;
    EdgeInsets imageInsets_;
    bool enabled_ = true;
    std::vector<std::pair<ControlEvent, std::function<void()>>> actions_;
};

class ActivityIndicator : public View {
  public:
    /// The platform's numbers; gray is the older small grey style.
    enum class Style { Gray = 2, Medium = 100, Large = 101 };
    using View::View;

    Style style() const { return style_; }
    void setStyle(Style style) { style_ = style; }
    bool isAnimating() const { return animating_; }
    bool hidesWhenStopped() const { return hidesWhenStopped_; }
    void setHidesWhenStopped(bool on) { hidesWhenStopped_ = on; }
    void startAnimating() {
        animating_ = true;
        if (hidesWhenStopped_) setHidden(false);
    }
    void stopAnimating() {
        animating_ = false;
        if (hidesWhenStopped_) setHidden(true);
    }

  private:
    Style style_ = Style::Medium;
    bool animating_ = false;
    bool hidesWhenStopped_ = true;
};

/// A bar button item; system items carry the platform's kind number (cancel is 1).
struct BarButtonItem {
    enum class SystemItem { Done = 0, Cancel = 1 };
    SystemItem systemItem = SystemItem::Cancel;
    std::optional<Color> tintColor;
    std::function<void()> action;

    void trigger() const {
        if (action) action();
    }
};

struct NavigationItem {
    std::optional<std::string> title;
    std::shared_ptr<BarButtonItem> leftBarButtonItem;
    std::shared_ptr<BarButtonItem> rightBarButtonItem;
};

class NavigationBar : public View {
  public:
    using View::View;

    bool isTranslucent() const { return translucent_; }
    void setTranslucent(bool on) { translucent_ = on; }
    const std::optional<Color>& barTintColor() const { return barTintColor_; }
    void setBarTintColor(std::optional<Color> color) { barTintColor_ = std::move(color); }
    const std::vector<NavigationItem>& items() const { return items_; }
    void setItems(std::vector<NavigationItem> items) { items_ = std::move(items); }
    /// The top item's right bar button item, if any.
    std::shared_ptr<BarButtonItem> rightBarButtonItem() const {
        return items_.empty() ? nullptr : items_.back().rightBarButtonItem;
    }

  private:
    bool translucent_ = true;
    std::optional<Color> barTintColor_;
    std::vector<NavigationItem> items_;
};

class BlurView : public View {
  public:
    /// The platform's blur style numbers; the regular style is 4.
    enum class Style { ExtraLight = 0, Light = 1, Dark = 2, Regular = 4, Prominent = 5 };
    explicit BlurView(Style style, Rect frame = {}) : View(frame), style_(style) {}

    Style style() const { return style_; }

  private:
    Style style_;
};

/// The place in the tree where a web view is shown; the web view itself is the platform's.
class WebViewHost : public View {
  public:
    using View::View;

    const std::shared_ptr<WebView>& webView() const { return webView_; }
    void setWebView(std::shared_ptr<WebView> webView) { webView_ = std::move(webView); }

  private:
    std::shared_ptr<WebView> webView_;
};

}  // namespace tandri
