// plot_timeline IN.json OUT.png: the report of checkout_timeline --json drawn as one row per
// series (first tap, later taps, the bare engine's fresh and warm views, start-up): each event at
// its median time since the row's start, with the spread of the first paint as a whisker.
#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tandri/Json.hpp"

namespace {

struct Event {
    std::string name;
    double median = 0, low = 0, high = 0;
};

struct Row {
    std::string name;
    std::vector<Event> events;
};

double medianOf(std::vector<double> v) {
    if (v.empty()) return 0;
    std::sort(v.begin(), v.end());
    return v.size() % 2 ? v[v.size() / 2] : (v[v.size() / 2 - 1] + v[v.size() / 2]) / 2;
}

// One colour per event name, the same in every row.
const char* const kEvents[] = {"spinner painted",   "spinner opaque",        "configure received",
                               "response received", "page committed",        "page first paint",
                               "page loaded",       "configure answered",    "launch received",
                               "checkout shown",    "button page committed", "button page shown",
                               "button page loaded"};
const double kColours[][3] = {{0.85, 0.55, 0.1}, {0.95, 0.8, 0.3}, {0.5, 0.5, 0.5}, {0.6, 0.2, 0.6},
                              {0.2, 0.6, 0.9},   {0.8, 0.1, 0.1},  {0.1, 0.6, 0.3}, {0.3, 0.3, 0.8},
                              {0.6, 0.6, 0.2},   {0.0, 0.0, 0.0},  {0.2, 0.6, 0.9}, {0.8, 0.1, 0.1},
                              {0.1, 0.6, 0.3}};

int colourOf(const std::string& event) {
    for (std::size_t i = 0; i < std::size(kEvents); ++i)
        if (event == kEvents[i]) return static_cast<int>(i);
    return -1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: plot_timeline IN.json OUT.png\n");
        return 2;
    }
    std::ifstream in(argv[1]);
    std::stringstream text;
    text << in.rdbuf();
    auto data = tandri::json::parse(text.str());
    const tandri::Value* series = data ? data->find("series") : nullptr;
    if (!series || !series->isArray()) {
        std::fprintf(stderr, "plot_timeline: %s is not a timeline report\n", argv[1]);
        return 2;
    }
    std::vector<Row> rows;
    double high = 0;
    for (const auto& s : series->asArray()) {
        Row row;
        row.name = s.find("name") ? s.find("name")->asString() : "?";
        if (const auto* events = s.find("events"); events && events->isArray()) {
            for (const auto& e : events->asArray()) {
                Event event;
                event.name = e.find("name") ? e.find("name")->asString() : "?";
                if (colourOf(event.name) < 0) continue;  // not a moment (a recorded duration)
                std::vector<double> ms;
                if (const auto* v = e.find("ms"); v && v->isArray())
                    for (const auto& x : v->asArray()) ms.push_back(x.asDouble());
                if (ms.empty()) continue;
                event.median = medianOf(ms);
                event.low = *std::min_element(ms.begin(), ms.end());
                event.high = *std::max_element(ms.begin(), ms.end());
                high = std::max(high, event.median);
                row.events.push_back(event);
            }
        }
        rows.push_back(std::move(row));
    }
    high = std::ceil(high * 1.05 / 50.0) * 50.0;
    if (high <= 0) high = 100;

    const int width = 1000, left = 130, right = 30, top = 50, rowH = 56;
    const int legendH = 18 * ((static_cast<int>(std::size(kEvents)) + 2) / 3) + 20;
    const int height = top + rowH * static_cast<int>(rows.size()) + 50 + legendH;
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
    cairo_t* cr = cairo_create(surface);
    cairo_set_source_rgb(cr, 1, 1, 1);
    cairo_paint(cr);
    const double plotW = width - left - right;
    const double plotBottom = top + rowH * static_cast<double>(rows.size());
    auto x = [&](double ms) { return left + plotW * std::min(ms, high) / high; };
    cairo_select_font_face(cr, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cr, 12);
    cairo_set_line_width(cr, 1);
    for (int k = 0; k <= 10; ++k) {
        const double gx = left + plotW * k / 10.0;
        cairo_set_source_rgb(cr, 0.9, 0.9, 0.9);
        cairo_move_to(cr, gx, top);
        cairo_line_to(cr, gx, plotBottom);
        cairo_stroke(cr);
        cairo_set_source_rgb(cr, 0.2, 0.2, 0.2);
        char label[32];
        std::snprintf(label, sizeof label, "%.0f", high * k / 10.0);
        cairo_move_to(cr, gx - 10, plotBottom + 16);
        cairo_show_text(cr, label);
    }
    cairo_move_to(cr, left + plotW / 2 - 150, plotBottom + 34);
    cairo_show_text(cr, "milliseconds since the tap (the load call; the set-up call for start-up)");
    cairo_set_font_size(cr, 15);
    cairo_move_to(cr, left - 110, 28);
    cairo_show_text(cr,
                    "Tap to checkout in WebKitGTK against the sandbox: medians, whiskers = "
                    "spread of the first paint");
    cairo_set_font_size(cr, 12);

    for (std::size_t r = 0; r < rows.size(); ++r) {
        const double y = top + rowH * (static_cast<double>(r) + 0.5);
        cairo_set_source_rgb(cr, 0, 0, 0);
        cairo_move_to(cr, 8, y + 4);
        cairo_show_text(cr, rows[r].name.c_str());
        double end = 0;
        for (const auto& e : rows[r].events) end = std::max(end, e.median);
        cairo_set_source_rgb(cr, 0.8, 0.8, 0.8);
        cairo_set_line_width(cr, 6);
        cairo_move_to(cr, x(0), y);
        cairo_line_to(cr, x(end), y);
        cairo_stroke(cr);
        cairo_set_line_width(cr, 2);
        for (const auto& e : rows[r].events) {
            const auto* c = kColours[colourOf(e.name)];
            cairo_set_source_rgb(cr, c[0], c[1], c[2]);
            if (e.name == "page first paint" || e.name == "button page shown") {
                cairo_move_to(cr, x(e.low), y - 12);
                cairo_line_to(cr, x(e.high), y - 12);
                cairo_stroke(cr);
                char label[32];
                std::snprintf(label, sizeof label, "%.0f", e.median);
                cairo_move_to(cr, x(e.median) - 8, y + 22);
                cairo_show_text(cr, label);
            }
            cairo_move_to(cr, x(e.median), y - 9);
            cairo_line_to(cr, x(e.median), y + 9);
            cairo_stroke(cr);
        }
    }
    // Legend.
    for (std::size_t i = 0; i < std::size(kEvents); ++i) {
        const double lx = left + (plotW / 3) * static_cast<double>(i % 3);
        const double ly = plotBottom + 60 + 18.0 * static_cast<double>(i / 3);
        cairo_set_source_rgb(cr, kColours[i][0], kColours[i][1], kColours[i][2]);
        cairo_rectangle(cr, lx, ly - 9, 10, 10);
        cairo_fill(cr);
        cairo_set_source_rgb(cr, 0.1, 0.1, 0.1);
        cairo_move_to(cr, lx + 16, ly);
        cairo_show_text(cr, kEvents[i]);
    }
    cairo_destroy(cr);
    const bool ok = cairo_surface_write_to_png(surface, argv[2]) == CAIRO_STATUS_SUCCESS;
    cairo_surface_destroy(surface);
    if (!ok) std::fprintf(stderr, "plot_timeline: cannot write %s\n", argv[2]);
    return ok ? 0 : 1;
}
