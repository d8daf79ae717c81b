// SPDX-License-Identifier: MIT
// The one Qt application of a widget test program (offscreen unless the environment says).
#pragma once

#include <QApplication>

inline QApplication& TWTestApplication() {
    static int argc = 1;
    static char name[] = "tidewell-test";
    static char* argv[] = {name, nullptr};
    static QApplication* app = [] {
        if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
            qputenv("QT_QPA_PLATFORM", "offscreen");
        return new QApplication(argc, argv);
    }();
    return *app;
}
