#pragma once

// Where the platform changes the toolkit's widget tree, the same for GTK 3 and GTK 4.

#include <gtk/gtk.h>

#include <vector>

namespace tandri::gtk {

inline void initToolkit() {
#if TANDRI_GTK_MAJOR == 4
    gtk_init();
#else
    gtk_init(nullptr, nullptr);
#endif
}

// Shows a top-level window and everything in it.
inline void showWindow(GtkWindow* window) {
#if TANDRI_GTK_MAJOR == 4
    gtk_window_present(window);
#else
    gtk_widget_show_all(GTK_WIDGET(window));
#endif
}

// A new top-level window, not shown yet.
inline GtkWindow* newWindow() {
#if TANDRI_GTK_MAJOR == 4
    return GTK_WINDOW(gtk_window_new());
#else
    return GTK_WINDOW(gtk_window_new(GTK_WINDOW_TOPLEVEL));
#endif
}

// The widget's children in the widget tree, first to last (drawing order).
inline std::vector<GtkWidget*> childrenOf(GtkWidget* widget) {
    std::vector<GtkWidget*> children;
#if TANDRI_GTK_MAJOR == 4
    for (GtkWidget* c = gtk_widget_get_first_child(widget); c != nullptr;
         c = gtk_widget_get_next_sibling(c)) {
        children.push_back(c);
    }
#else
    if (!GTK_IS_CONTAINER(widget)) return children;
    GList* list = gtk_container_get_children(GTK_CONTAINER(widget));
    for (GList* c = list; c != nullptr; c = c->next) children.push_back(GTK_WIDGET(c->data));
    g_list_free(list);
#endif
    return children;
}

inline void destroyWindow(GtkWindow* window) {
#if TANDRI_GTK_MAJOR == 4
    gtk_window_destroy(window);
#else
    gtk_widget_destroy(GTK_WIDGET(window));
#endif
}

#if TANDRI_GTK_MAJOR == 4
// Takes `widget` out of whatever holds it. GTK 4 has no common container: a parent that keeps its
// child apart from the widget tree (a window, a stack's page, an overlay's main child) must be
// told by its own call; a box, a fixed or a widget of our own holds its children only as the
// tree's, and unparenting is all their removal does. (A view placed in another kind of parent
// needs its call here.)
inline void removeFromParent(GtkWidget* widget) {
    GtkWidget* parent = gtk_widget_get_parent(widget);
    if (parent == nullptr) return;
    if (GTK_IS_WINDOW(parent)) {
        gtk_window_set_child(GTK_WINDOW(parent), nullptr);
    } else if (GTK_IS_STACK(parent)) {
        gtk_stack_remove(GTK_STACK(parent), widget);
    } else if (GTK_IS_OVERLAY(parent) && gtk_overlay_get_child(GTK_OVERLAY(parent)) == widget) {
        gtk_overlay_set_child(GTK_OVERLAY(parent), nullptr);
    } else {
        gtk_widget_unparent(widget);
    }
}
#else
inline void removeFromParent(GtkWidget* widget) {
    if (GtkWidget* parent = gtk_widget_get_parent(widget))
        gtk_container_remove(GTK_CONTAINER(parent), widget);
}
#endif

// Takes `widget` out of its parent and disposes of it now, whoever else still holds a reference,
// as GTK 3's destroy does. The caller's own reference stays the caller's to drop.
inline void destroyWidget(GtkWidget* widget) {
#if TANDRI_GTK_MAJOR == 4
    removeFromParent(widget);
    g_object_run_dispose(G_OBJECT(widget));
#else
    gtk_widget_destroy(widget);
#endif
}

// The one child of a window: its "content" where the window has one (an application framework's
// window, libadwaita's say, whose own child must not be touched), else the toolkit's child.
inline bool hasContentProperty(GtkWindow* window) {
    GParamSpec* spec = g_object_class_find_property(G_OBJECT_GET_CLASS(window), "content");
    return spec != nullptr && g_type_is_a(spec->value_type, GTK_TYPE_WIDGET);
}

inline GtkWidget* windowChild(GtkWindow* window) {
    if (hasContentProperty(window)) {
        GtkWidget* content = nullptr;
        g_object_get(window, "content", &content, nullptr);
        if (content != nullptr) g_object_unref(content);  // the window still holds it
        return content;
    }
#if TANDRI_GTK_MAJOR == 4
    return gtk_window_get_child(window);
#else
    return gtk_bin_get_child(GTK_BIN(window));
#endif
}

// The child of an overlay, under its overlays.
inline GtkWidget* overlayChild(GtkOverlay* overlay) {
#if TANDRI_GTK_MAJOR == 4
    return gtk_overlay_get_child(overlay);
#else
    return gtk_bin_get_child(GTK_BIN(overlay));
#endif
}

// Puts `child` (which has no parent) into the window in place of what it held; none empties it.
// Its visibility stays as it was (GTK 4 makes widgets visible, GTK 3 hidden).
inline void setWindowChild(GtkWindow* window, GtkWidget* child) {
    if (hasContentProperty(window)) {
        g_object_set(window, "content", child, nullptr);
        return;
    }
#if TANDRI_GTK_MAJOR == 4
    gtk_window_set_child(window, child);
#else
    if (GtkWidget* old = gtk_bin_get_child(GTK_BIN(window)))
        gtk_container_remove(GTK_CONTAINER(window), old);
    if (child != nullptr) gtk_container_add(GTK_CONTAINER(window), child);
#endif
}

inline void setOverlayChild(GtkOverlay* overlay, GtkWidget* child) {
#if TANDRI_GTK_MAJOR == 4
    gtk_overlay_set_child(overlay, child);
#else
    gtk_container_add(GTK_CONTAINER(overlay), child);
#endif
}

// Whether `widget` is inside `window`'s widget tree.
inline bool isInWindow(GtkWidget* widget, GtkWindow* window) {
#if TANDRI_GTK_MAJOR == 4
    return GTK_WIDGET(gtk_widget_get_root(widget)) == GTK_WIDGET(window);
#else
    return gtk_widget_get_toplevel(widget) == GTK_WIDGET(window);
#endif
}

inline int widgetWidth(GtkWidget* widget) {
#if TANDRI_GTK_MAJOR == 4
    return gtk_widget_get_width(widget);
#else
    return gtk_widget_get_allocated_width(widget);
#endif
}

inline int widgetHeight(GtkWidget* widget) {
#if TANDRI_GTK_MAJOR == 4
    return gtk_widget_get_height(widget);
#else
    return gtk_widget_get_allocated_height(widget);
#endif
}

// The size of the window's content: as laid out once shown, as asked for before.
inline void windowSize(GtkWindow* window, int& width, int& height) {
#if TANDRI_GTK_MAJOR == 4
    width = gtk_widget_get_width(GTK_WIDGET(window));
    height = gtk_widget_get_height(GTK_WIDGET(window));
    if (width <= 1 || height <= 1) gtk_window_get_default_size(window, &width, &height);
#else
    gtk_window_get_size(window, &width, &height);
#endif
}

inline void setFocusable(GtkWidget* widget, bool focusable) {
#if TANDRI_GTK_MAJOR == 4
    gtk_widget_set_focusable(widget, focusable);
#else
    gtk_widget_set_can_focus(widget, focusable);
#endif
}

inline bool isFocusable(GtkWidget* widget) {
#if TANDRI_GTK_MAJOR == 4
    return gtk_widget_get_focusable(widget) != FALSE;
#else
    return gtk_widget_get_can_focus(widget) != FALSE;
#endif
}

// Gives `widget` the focus back as it had it: an entry keeps its selection and cursor.
inline void refocus(GtkWidget* widget) {
#if TANDRI_GTK_MAJOR == 4
    if (GTK_IS_TEXT(widget)) {
        gtk_text_grab_focus_without_selecting(GTK_TEXT(widget));
        return;
    }
    if (GTK_IS_ENTRY(widget)) {
        gtk_entry_grab_focus_without_selecting(GTK_ENTRY(widget));
        return;
    }
#else
    if (GTK_IS_ENTRY(widget)) {
        gtk_entry_grab_focus_without_selecting(GTK_ENTRY(widget));
        return;
    }
#endif
    gtk_widget_grab_focus(widget);
}

#if TANDRI_GTK_MAJOR == 4
// A new image surface with the texture's pixels (cairo's ARGB32 is GDK's default memory format).
inline cairo_surface_t* surfaceOfTexture(GdkTexture* texture) {
    if (texture == nullptr) return nullptr;
    cairo_surface_t* surface = cairo_image_surface_create(
        CAIRO_FORMAT_ARGB32, gdk_texture_get_width(texture), gdk_texture_get_height(texture));
    cairo_surface_flush(surface);
    gdk_texture_download(texture, cairo_image_surface_get_data(surface),
                         static_cast<gsize>(cairo_image_surface_get_stride(surface)));
    cairo_surface_mark_dirty(surface);
    return surface;
}
#endif

// What the toolkit draws of `widget` (a shown one), at its size, painted onto `cr`.
inline void drawWidget(GtkWidget* widget, cairo_t* cr, int width, int height) {
#if TANDRI_GTK_MAJOR == 4
    GdkPaintable* paintable = gtk_widget_paintable_new(widget);
    GtkSnapshot* snapshot = gtk_snapshot_new();
    gdk_paintable_snapshot(paintable, snapshot, width, height);
    g_object_unref(paintable);
    GskRenderNode* node = gtk_snapshot_free_to_node(snapshot);
    GtkNative* native = gtk_widget_get_native(widget);
    if (node == nullptr || native == nullptr) {
        if (node != nullptr) gsk_render_node_unref(node);
        return;
    }
    const graphene_rect_t bounds =
        GRAPHENE_RECT_INIT(0, 0, static_cast<float>(width), static_cast<float>(height));
    GdkTexture* texture =
        gsk_renderer_render_texture(gtk_native_get_renderer(native), node, &bounds);
    gsk_render_node_unref(node);
    if (cairo_surface_t* drawn = surfaceOfTexture(texture)) {
        cairo_set_source_surface(cr, drawn, 0, 0);
        cairo_paint(cr);
        cairo_surface_destroy(drawn);
    }
    g_object_unref(texture);
#else
    (void)width, (void)height;
    gtk_widget_draw(widget, cr);
#endif
}

// Where `widget` lies in its window's coordinates.
inline void positionInWindow(GtkWidget* widget, int& x, int& y) {
#if TANDRI_GTK_MAJOR == 4
    double atX = 0, atY = 0;
    gtk_widget_translate_coordinates(widget, GTK_WIDGET(gtk_widget_get_root(widget)), 0, 0, &atX,
                                     &atY);
    x = static_cast<int>(atX);
    y = static_cast<int>(atY);
#else
    gtk_widget_translate_coordinates(widget, gtk_widget_get_toplevel(widget), 0, 0, &x, &y);
#endif
}

}  // namespace tandri::gtk
