// plot_round_trip IN.json OUT.png: the distribution of round-trip times written by
// library_round_trip --json, drawn as one cumulative curve per run (the bare echo and the
// library path) with their medians and 99th percentiles marked.
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

struct Series {
    std::string name;
    std::vector<double> micros;  // sorted
};

double at(const std::vector<double>& sorted, double q) {
    if (sorted.empty()) return 0;
    return sorted[static_cast<std::size_t>(q * static_cast<double>(sorted.size() - 1))];
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: plot_round_trip IN.json OUT.png\n");
        return 2;
    }
    std::ifstream in(argv[1]);
    std::stringstream text;
    text << in.rdbuf();
    auto data = tandri::json::parse(text.str());
    const tandri::Value* runs = data ? data->find("runs") : nullptr;
    if (!runs || !runs->isArray()) {
        std::fprintf(stderr, "plot_round_trip: %s is not a round-trip report\n", argv[1]);
        return 2;
    }
    std::vector<Series> series;
    for (const auto& run : runs->asArray()) {
        Series s;
        s.name = run.find("name") ? run.find("name")->asString() : "?";
        if (const auto* micros = run.find("micros"); micros && micros->isArray()) {
            for (const auto& v : micros->asArray()) s.micros.push_back(v.asDouble());
        }
        std::sort(s.micros.begin(), s.micros.end());
        series.push_back(std::move(s));
    }
    double high = 0;
    for (const auto& s : series) high = std::max(high, at(s.micros, 0.995));
    high = std::ceil(high / 100.0) * 100.0;
    if (high <= 0) high = 100;

    const int width = 900, height = 520, left = 80, right = 30, top = 50, bottom = 70;
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
    cairo_t* cr = cairo_create(surface);
    cairo_set_source_rgb(cr, 1, 1, 1);
    cairo_paint(cr);
    const double plotW = width - left - right, plotH = height - top - bottom;
    auto x = [&](double micros) { return left + plotW * std::min(micros, high) / high; };
    auto y = [&](double fraction) { return top + plotH * (1 - fraction); };

    cairo_select_font_face(cr, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cr, 12);
    cairo_set_line_width(cr, 1);
    // Grid and axes.
    for (int k = 0; k <= 10; ++k) {
        const double gx = left + plotW * k / 10.0, gy = top + plotH * k / 10.0;
        cairo_set_source_rgb(cr, 0.9, 0.9, 0.9);
        cairo_move_to(cr, gx, top);
        cairo_line_to(cr, gx, top + plotH);
        cairo_move_to(cr, left, gy);
        cairo_line_to(cr, left + plotW, gy);
        cairo_stroke(cr);
        cairo_set_source_rgb(cr, 0.2, 0.2, 0.2);
        char label[32];
        std::snprintf(label, sizeof label, "%.0f", high * k / 10.0);
        cairo_move_to(cr, gx - 12, top + plotH + 18);
        cairo_show_text(cr, label);
        std::snprintf(label, sizeof label, "%d%%", 100 - 10 * k);
        cairo_move_to(cr, left - 40, gy + 4);
        cairo_show_text(cr, label);
    }
    cairo_set_source_rgb(cr, 0, 0, 0);
    cairo_rectangle(cr, left, top, plotW, plotH);
    cairo_stroke(cr);
    cairo_move_to(cr, left + plotW / 2 - 120, height - 25);
    cairo_show_text(cr, "round trip, microseconds (native side, per message)");
    cairo_set_font_size(cr, 15);
    cairo_move_to(cr, left, 30);
    char title[160];
    std::snprintf(title, sizeof title,
                  "Round trips in a WebKitGTK view: share of messages answered within x (n = %zu)",
                  series.empty() ? std::size_t{0} : series.front().micros.size());
    cairo_show_text(cr, title);
    cairo_set_font_size(cr, 12);

    const double colours[][3] = {{0.55, 0.55, 0.55}, {0.1, 0.35, 0.8}, {0.8, 0.3, 0.1}};
    for (std::size_t r = 0; r < series.size(); ++r) {
        const auto& s = series[r];
        const auto* c = colours[std::min<std::size_t>(r, 2)];
        cairo_set_source_rgb(cr, c[0], c[1], c[2]);
        cairo_set_line_width(cr, 2);
        for (std::size_t i = 0; i < s.micros.size(); ++i) {
            const double f = static_cast<double>(i + 1) / static_cast<double>(s.micros.size());
            if (i == 0) {
                cairo_move_to(cr, x(s.micros[i]), y(0));
            }
            cairo_line_to(cr, x(s.micros[i]), y(f));
        }
        cairo_stroke(cr);
        // Median and p99 marks.
        for (double q : {0.5, 0.99}) {
            const double v = at(s.micros, q);
            cairo_arc(cr, x(v), y(q), 4, 0, 2 * M_PI);
            cairo_fill(cr);
        }
        char legend[160];
        std::snprintf(legend, sizeof legend, "%s: median %.0f us, p90 %.0f us, p99 %.0f us",
                      s.name.c_str(), at(s.micros, 0.5), at(s.micros, 0.9), at(s.micros, 0.99));
        cairo_move_to(cr, left + plotW - 380, top + plotH - 40 + 18.0 * static_cast<double>(r));
        cairo_show_text(cr, legend);
    }
    cairo_destroy(cr);
    const bool ok = cairo_surface_write_to_png(surface, argv[2]) == CAIRO_STATUS_SUCCESS;
    cairo_surface_destroy(surface);
    if (!ok) std::fprintf(stderr, "plot_round_trip: cannot write %s\n", argv[2]);
    return ok ? 0 : 1;
}
