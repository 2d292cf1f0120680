// Plain geometry and colour values shared by the view tree and the platforms that draw it.
#pragma once

#include <string>

namespace tandri {

struct Size {
    double width = 0;
    double height = 0;
    bool operator==(const Size&) const = default;
};

struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    bool operator==(const Rect&) const = default;
};

struct EdgeInsets {
    double top = 0;
    double left = 0;
    double bottom = 0;
    double right = 0;
    bool operator==(const EdgeInsets&) const = default;
};

/// An RGBA colour with components in 0…1. A system colour (one that follows the appearance) also
/// carries its name, e.g. "systemBackground"; its components are the light-appearance values.
struct Color {
    double red = 0;
    double green = 0;
    double blue = 0;
    double alpha = 1;
    std::string systemName;

    static Color clear() { return {0, 0, 0, 0, {}}; }
    static Color white() { return {1, 1, 1, 1, {}}; }
    static Color black() { return {0, 0, 0, 1, {}}; }
    static Color systemBackground() { return {1, 1, 1, 1, "systemBackground"}; }
    static Color systemGray6() { return {242 / 255.0, 242 / 255.0, 247 / 255.0, 1, "systemGray6"}; }
    static Color systemBlue() { return {0, 122 / 255.0, 1, 1, "systemBlue"}; }

    bool operator==(const Color&) const = default;
};

}  // namespace tandri
