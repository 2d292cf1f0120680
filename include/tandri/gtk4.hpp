#pragma once

// The checkout in a GTK 4 application on WebKitGTK 6.0 (libtandri-gtk4, pkg-config tandri-gtk4,
// CMake tandri::gtk4): the API of <tandri/gtk.hpp>, with a check that the application is built
// with GTK 4.

#include <gtk/gtk.h>

#if GTK_MAJOR_VERSION != 4
#error "<tandri/gtk4.hpp> is for GTK 4 applications; a GTK 3 application includes <tandri/gtk.hpp>"
#endif

#include "tandri/gtk.hpp"
