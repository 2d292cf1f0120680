// The engine tests' main: one application for the whole run, the test scheme registered before
// it starts, and the engine set up for a container (no sandbox when run as root, no GPU).

#include <gtest/gtest.h>

#include <QApplication>
#include <QWebEngineUrlScheme>
#include <cstdlib>

#include "EngineFixture.hpp"

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    // As CTest sets them; a run by hand gets the same.
    setenv("QTWEBENGINE_DISABLE_SANDBOX", "1", 0);
    setenv("QTWEBENGINE_CHROMIUM_FLAGS",
           "--disable-gpu --disable-background-networking --disable-component-update", 0);
    QWebEngineUrlScheme scheme(tandri::qt::testing::kTestScheme);
    scheme.setSyntax(QWebEngineUrlScheme::Syntax::Host);
    scheme.setFlags(QWebEngineUrlScheme::SecureScheme);
    QWebEngineUrlScheme::registerScheme(scheme);
    QApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
