#include "Platform/Desktop/ViewPainter.hpp"

#include <pango/pangocairo.h>

#include "Core/Views/Layout.hpp"

#include <cmath>
#include <map>
#include <numbers>

namespace tandri::desktop {

namespace {

constexpr double kBarItemWidth = 90;  // the tappable width of a bar's right item

void setColor(cairo_t* cr, const Color& c, double alpha = 1) {
    cairo_set_source_rgba(cr, c.red, c.green, c.blue, c.alpha * alpha);
}

/// Cairo surfaces for bitmaps, premultiplied once and kept while the bitmap lives.
class SurfaceCache {
  public:
    cairo_surface_t* surfaceFor(const BitmapRef& bitmap) {
        if (!bitmap || !bitmap->isValid()) return nullptr;
        prune();
        auto it = entries_.find(bitmap.get());
        if (it != entries_.end()) return it->second.surface;
        cairo_surface_t* surface =
            cairo_image_surface_create(CAIRO_FORMAT_ARGB32, bitmap->width, bitmap->height);
        cairo_surface_flush(surface);
        unsigned char* data = cairo_image_surface_get_data(surface);
        const int stride = cairo_image_surface_get_stride(surface);
        for (int y = 0; y < bitmap->height; ++y) {
            auto* row = reinterpret_cast<std::uint32_t*>(data + y * stride);
            const std::uint8_t* src =
                bitmap->rgba.data() +
                static_cast<std::size_t>(y) * static_cast<std::size_t>(bitmap->width) * 4;
            for (int x = 0; x < bitmap->width; ++x, src += 4) {
                const std::uint32_t a = src[3];
                auto pre = [a](std::uint32_t v) { return (v * a + 127) / 255; };
                row[x] = (a << 24) | (pre(src[0]) << 16) | (pre(src[1]) << 8) | pre(src[2]);
            }
        }
        cairo_surface_mark_dirty(surface);
        entries_[bitmap.get()] = {bitmap, surface};
        return surface;
    }

  private:
    struct Entry {
        std::weak_ptr<const Bitmap> bitmap;
        cairo_surface_t* surface = nullptr;
    };
    void prune() {
        for (auto it = entries_.begin(); it != entries_.end();) {
            if (it->second.bitmap.expired()) {
                cairo_surface_destroy(it->second.surface);
                it = entries_.erase(it);
            } else {
                ++it;
            }
        }
    }
    std::map<const Bitmap*, Entry> entries_;
};

SurfaceCache& surfaces() {
    static SurfaceCache cache;
    return cache;
}

/// Draws `bitmap` scaled to fit inside `box`, centred, keeping its proportions.
void drawAspectFit(cairo_t* cr, const BitmapRef& bitmap, Rect box) {
    cairo_surface_t* surface = surfaces().surfaceFor(bitmap);
    if (!surface || box.width <= 0 || box.height <= 0) return;
    const double scale = std::min(box.width / bitmap->width, box.height / bitmap->height);
    const double w = bitmap->width * scale;
    const double h = bitmap->height * scale;
    cairo_save(cr);
    cairo_translate(cr, box.x + (box.width - w) / 2, box.y + (box.height - h) / 2);
    cairo_scale(cr, scale, scale);
    cairo_set_source_surface(cr, surface, 0, 0);
    cairo_pattern_set_filter(cairo_get_source(cr), CAIRO_FILTER_GOOD);
    cairo_paint(cr);
    cairo_restore(cr);
}

BitmapRef currentFrame(const ImageView& view, double seconds) {
    const auto& frames = view.animationImages();
    if (!view.isAnimating() || frames.empty()) return view.image();
    const double duration =
        view.animationDuration() > 0 ? view.animationDuration() : frames.size() / 30.0;
    const double phase = std::fmod(seconds, duration) / duration;
    auto index = static_cast<std::size_t>(phase * static_cast<double>(frames.size()));
    return frames[std::min(index, frames.size() - 1)];
}

void drawSpinner(cairo_t* cr, const ActivityIndicator& view, double seconds) {
    const Rect b = view.bounds();
    const double radius = std::min(b.width, b.height) / 2;
    const int spokes = 12;
    const int lead = static_cast<int>(seconds * spokes) % spokes;
    cairo_save(cr);
    cairo_translate(cr, b.width / 2, b.height / 2);
    cairo_set_line_width(cr, std::max(1.5, radius / 5));
    cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
    for (int i = 0; i < spokes; ++i) {
        const double angle = 2 * std::numbers::pi * i / spokes;
        const int age = (lead - i + spokes) % spokes;
        cairo_set_source_rgba(cr, 0.5, 0.5, 0.5, 1.0 - 0.07 * age);
        cairo_move_to(cr, std::cos(angle) * radius * 0.45, std::sin(angle) * radius * 0.45);
        cairo_line_to(cr, std::cos(angle) * radius * 0.9, std::sin(angle) * radius * 0.9);
        cairo_stroke(cr);
    }
    cairo_restore(cr);
}

void drawText(cairo_t* cr, const std::string& text, double x, double y, double width, double height,
              PangoAlignment alignment, const Color& color) {
    PangoLayout* layout = pango_cairo_create_layout(cr);
    PangoFontDescription* font = pango_font_description_from_string("Sans 12");
    pango_layout_set_font_description(layout, font);
    pango_font_description_free(font);
    pango_layout_set_text(layout, text.c_str(), -1);
    pango_layout_set_width(layout, static_cast<int>(width * PANGO_SCALE));
    pango_layout_set_alignment(layout, alignment);
    int textWidth = 0, textHeight = 0;
    pango_layout_get_pixel_size(layout, &textWidth, &textHeight);
    setColor(cr, color);
    cairo_move_to(cr, x, y + (height - textHeight) / 2);
    pango_cairo_show_layout(cr, layout);
    g_object_unref(layout);
}

void drawNavigationBar(cairo_t* cr, const NavigationBar& bar) {
    const Rect b = bar.bounds();
    setColor(cr, bar.barTintColor().value_or(Color{0.97, 0.97, 0.97, 1, {}}),
             bar.isTranslucent() ? 0.94 : 1.0);
    cairo_rectangle(cr, 0, 0, b.width, b.height);
    cairo_fill(cr);
    cairo_set_source_rgba(cr, 0, 0, 0, 0.3);
    cairo_rectangle(cr, 0, b.height - 0.5, b.width, 0.5);
    cairo_fill(cr);
    if (bar.items().empty()) return;
    const NavigationItem& item = bar.items().back();
    if (item.title) {
        drawText(cr, *item.title, 0, 0, b.width, b.height, PANGO_ALIGN_CENTER, Color::black());
    }
    if (auto right = item.rightBarButtonItem) {
        const char* label =
            right->systemItem == BarButtonItem::SystemItem::Cancel ? "Cancel" : "Done";
        const Color tint = right->tintColor.value_or(bar.tintColor().value_or(Color::systemBlue()));
        drawText(cr, label, b.width - kBarItemWidth, 0, kBarItemWidth - 16, b.height,
                 PANGO_ALIGN_RIGHT, tint);
    }
}

void drawBlur(cairo_t* cr, const BlurView& view) {
    // Without a compositor to blur what lies beneath, a frosted sheet hides it just as well.
    const Rect b = view.bounds();
    const bool dark = view.style() == BlurView::Style::Dark;
    cairo_set_source_rgba(cr, dark ? 0.1 : 0.97, dark ? 0.1 : 0.97, dark ? 0.1 : 0.97, 0.92);
    cairo_rectangle(cr, 0, 0, b.width, b.height);
    cairo_fill(cr);
}

bool isWebViewHost(const View& view) {
    auto* host = dynamic_cast<const WebViewHost*>(&view);
    return host != nullptr && host->webView() != nullptr;
}

struct Painter {
    cairo_t* cr;
    double seconds;
    PaintLayer layer;
    bool passedWebView = false;

    void paint(const View& view) {
        if (view.isHidden() || view.alpha() <= 0) return;
        if (layer == PaintLayer::UnderWebView && passedWebView) return;
        const bool drawSelf = layer != PaintLayer::OverWebView || passedWebView;
        const Rect f = view.frame();
        cairo_save(cr);
        cairo_translate(cr, f.x, f.y);
        const bool group = view.alpha() < 1;
        if (group) cairo_push_group(cr);
        if (drawSelf) drawContent(view);
        if (isWebViewHost(view)) {
            passedWebView = true;  // its subviews lie over the page
        }
        for (const auto& sub : view.subviews()) paint(*sub);
        if (group) {
            cairo_pop_group_to_source(cr);
            cairo_paint_with_alpha(cr, view.alpha());
        }
        cairo_restore(cr);
    }

    void drawContent(const View& view) {
        const Rect b = view.bounds();
        if (view.backgroundColor() && !isWebViewHost(view)) {
            setColor(cr, *view.backgroundColor());
            cairo_rectangle(cr, 0, 0, b.width, b.height);
            cairo_fill(cr);
        }
        if (auto* image = dynamic_cast<const ImageView*>(&view)) {
            drawAspectFit(cr, currentFrame(*image, seconds), b);
        } else if (auto* button = dynamic_cast<const Button*>(&view)) {
            const EdgeInsets c = button->contentEdgeInsets();
            const EdgeInsets i = button->imageEdgeInsets();
            drawAspectFit(
                cr, button->image(),
                {c.left + i.left, c.top + i.top, b.width - c.left - c.right - i.left - i.right,
                 b.height - c.top - c.bottom - i.top - i.bottom});
        } else if (auto* spinner = dynamic_cast<const ActivityIndicator*>(&view)) {
            if (spinner->isAnimating() || !spinner->hidesWhenStopped()) {
                drawSpinner(cr, *spinner, spinner->isAnimating() ? seconds : 0);
            }
        } else if (auto* bar = dynamic_cast<const NavigationBar*>(&view)) {
            drawNavigationBar(cr, *bar);
        } else if (auto* blur = dynamic_cast<const BlurView*>(&view)) {
            drawBlur(cr, *blur);
        }
    }
};

bool contains(Rect r, double x, double y) {
    return x >= r.x && y >= r.y && x < r.x + r.width && y < r.y + r.height;
}

std::shared_ptr<View> hitIn(const std::shared_ptr<View>& view, double x, double y) {
    if (view->isHidden() || view->alpha() < 0.01 || !view->isUserInteractionEnabled()) {
        return nullptr;
    }
    const Rect b = view->bounds();
    if (!contains(b, x, y)) return nullptr;
    const auto& subs = view->subviews();
    for (auto it = subs.rbegin(); it != subs.rend(); ++it) {
        const Rect f = (*it)->frame();
        if (auto hit = hitIn(*it, x - f.x, y - f.y)) return hit;
    }
    return view;
}

}  // namespace

void paintViewTree(cairo_t* cr, const View& root, double seconds, PaintLayer layer) {
    Painter painter{cr, seconds, layer};
    // The root sits at the origin whatever its frame says.
    cairo_save(cr);
    const Rect f = root.frame();
    cairo_translate(cr, -f.x, -f.y);
    painter.paint(root);
    cairo_restore(cr);
}

std::shared_ptr<View> hitTest(const std::shared_ptr<View>& root, double x, double y) {
    return root ? hitIn(root, x, y) : nullptr;
}

bool performTap(const std::shared_ptr<View>& root, double x, double y) {
    auto hit = hitTest(root, x, y);
    for (auto view = hit; view; view = view->superview()) {
        if (auto* button = dynamic_cast<Button*>(view.get())) {
            if (!button->isEnabled()) return false;
            button->sendActions(ControlEvent::TouchUpInside);
            return true;
        }
        if (auto* bar = dynamic_cast<NavigationBar*>(view.get())) {
            const Rect r = frameInRoot(*bar);
            const double localX = x - r.x;
            if (auto item = bar->rightBarButtonItem(); item && localX >= r.width - kBarItemWidth) {
                item->trigger();
                return true;
            }
        }
        for (const auto& gesture : view->gestureRecognizers()) {
            if (gesture.enabled && gesture.action) {
                gesture.fire();
                return true;
            }
        }
    }
    return false;
}

bool isAnimating(const View& root) {
    if (root.isHidden()) return false;
    if (auto* image = dynamic_cast<const ImageView*>(&root); image && image->isAnimating()) {
        return true;
    }
    if (auto* spinner = dynamic_cast<const ActivityIndicator*>(&root);
        spinner && spinner->isAnimating()) {
        return true;
    }
    for (const auto& sub : root.subviews()) {
        if (isAnimating(*sub)) return true;
    }
    return false;
}

}  // namespace tandri::desktop
