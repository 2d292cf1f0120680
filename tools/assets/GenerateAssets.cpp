// Draws the library's own images into a resource directory at build time:
// "close.png", a cross for the spinner's close button, "mini_tandri_checkout.png",
// a card face for hosts' mini buttons, and the spinner's 260
// frames "square_animation<N>.png", a rounded square turning once and
// breathing in colour over the loop.
//
//   generate_assets OUTPUT_DIR

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <numbers>
#include <string>

#include "Platform/Linux/StbImageCodec.hpp"

namespace {

constexpr int kFrames = 260;
constexpr int kSide = 300;  // drawn for the largest (150-point) view at twice the density

struct Rgb {
    double r, g, b;
};

/// Signed distance from (x, y) to a rounded square of half-size `half` and corner `radius`.
double roundedSquare(double x, double y, double half, double radius) {
    const double qx = std::abs(x) - (half - radius);
    const double qy = std::abs(y) - (half - radius);
    const double outside = std::hypot(std::max(qx, 0.0), std::max(qy, 0.0));
    return outside + std::min(std::max(qx, qy), 0.0) - radius;
}

/// Coverage of a ring of width `stroke` around the zero of `distance`, smoothed over a pixel.
double ring(double distance, double stroke) {
    return std::clamp(stroke / 2 - std::abs(distance) + 0.5, 0.0, 1.0);
}

void put(tandri::Bitmap& image, int x, int y, Rgb color, double alpha) {
    auto* p = &image.rgba[(static_cast<std::size_t>(y) * image.width + x) * 4];
    p[0] = static_cast<std::uint8_t>(std::lround(color.r * 255));
    p[1] = static_cast<std::uint8_t>(std::lround(color.g * 255));
    p[2] = static_cast<std::uint8_t>(std::lround(color.b * 255));
    p[3] = static_cast<std::uint8_t>(std::lround(std::clamp(alpha, 0.0, 1.0) * 255));
}

tandri::Bitmap blank(int side) {
    tandri::Bitmap image;
    image.width = image.height = side;
    image.rgba.assign(static_cast<std::size_t>(side) * side * 4, 0);
    return image;
}

tandri::Bitmap frame(int index) {
    const double t = static_cast<double>(index) / kFrames;
    const double angle = 2 * std::numbers::pi * t;
    const double pulse = 0.5 - 0.5 * std::cos(2 * angle);
    const Rgb from{0.10, 0.32, 0.86}, to{0.05, 0.62, 0.58};
    const Rgb color{from.r + (to.r - from.r) * pulse, from.g + (to.g - from.g) * pulse,
                    from.b + (to.b - from.b) * pulse};
    tandri::Bitmap image = blank(kSide);
    const double c = kSide / 2.0;
    for (int y = 0; y < kSide; ++y) {
        for (int x = 0; x < kSide; ++x) {
            // Rotate the pixel back into the square's own frame.
            const double dx = x + 0.5 - c, dy = y + 0.5 - c;
            const double rx = dx * std::cos(-angle) - dy * std::sin(-angle);
            const double ry = dx * std::sin(-angle) + dy * std::cos(-angle);
            const double outer = ring(roundedSquare(rx, ry, kSide * 0.30, kSide * 0.07), 14);
            // A small dot runs round the inside, a quarter turn ahead.
            const double dotAngle = angle * 3;
            const double dot = std::clamp(9 -
                                              std::hypot(dx - std::cos(dotAngle) * kSide * 0.16,
                                                         dy - std::sin(dotAngle) * kSide * 0.16) +
                                              0.5,
                                          0.0, 1.0);
            const double alpha = std::max(outer, dot);
            if (alpha > 0) put(image, x, y, color, alpha);
        }
    }
    return image;
}

tandri::Bitmap cross() {
    constexpr int side = 48;
    tandri::Bitmap image = blank(side);
    const Rgb gray{0.33, 0.33, 0.36};
    for (int y = 0; y < side; ++y) {
        for (int x = 0; x < side; ++x) {
            const double px = x + 0.5 - side / 2.0, py = y + 0.5 - side / 2.0;
            if (std::abs(px) > side * 0.36 || std::abs(py) > side * 0.36) continue;
            // Distance to the two diagonals.
            const double d = std::min(std::abs(px - py), std::abs(px + py)) / std::numbers::sqrt2;
            const double alpha = std::clamp(2.5 - d + 0.5, 0.0, 1.0);
            if (alpha > 0) put(image, x, y, gray, alpha);
        }
    }
    return image;
}

/// A small card face: a rounded blue card with a light stripe, for hosts' mini buttons.
tandri::Bitmap miniCard() {
    constexpr int width = 96, height = 60;
    tandri::Bitmap image;
    image.width = width;
    image.height = height;
    image.rgba.assign(static_cast<std::size_t>(width) * height * 4, 0);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const double d =
                roundedSquare(x + 0.5 - width / 2.0, (y + 0.5 - height / 2.0) * width / height,
                              width / 2.0 - 1, 8);
            const double alpha = std::clamp(0.5 - d, 0.0, 1.0);
            if (alpha <= 0) continue;
            const bool stripe = y >= 14 && y < 22;
            put(image, x, y, stripe ? Rgb{0.85, 0.9, 1.0} : Rgb{0.10, 0.32, 0.86}, alpha);
        }
    }
    return image;
}

bool write(const std::filesystem::path& path, const tandri::Bitmap& image) {
    auto png = tandri::linux_platform::StbImageCodec().encodePNG(image);
    if (!png) return false;
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(png->data()),
              static_cast<std::streamsize>(png->size()));
    return static_cast<bool>(out);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: generate_assets OUTPUT_DIR\n");
        return 2;
    }
    const std::filesystem::path dir = argv[1];
    std::filesystem::create_directories(dir);
    if (!write(dir / "close.png", cross())) return 1;
    if (!write(dir / "mini_tandri_checkout.png", miniCard())) return 1;
    for (int i = 0; i < kFrames; ++i) {
        if (!write(dir / ("square_animation" + std::to_string(i) + ".png"), frame(i))) return 1;
    }
    return 0;
}
