// SPDX-License-Identifier: MIT
// The one Qt application of a widget test program (offscreen unless the environment says); a
// program asks for it as one class only.
#pragma once

#include <QApplication>

template <class Application = QApplication> Application& TWTestApplication() {
    static int argc = 1;
    static char name[] = "tidewell-test";
    static char* argv[] = {name, nullptr};
    static Application* app = [] {
        if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
            qputenv("QT_QPA_PLATFORM", "offscreen");
        return new Application(argc, argv);
    }();
    return *app;
}
