// SPDX-License-Identifier: MIT
// The one symbol the tidewell-app module exports: the application, run by tidewell's main when
// the request was not simply handed over.
#include "TWLauncher.h"

extern "C" __attribute__((visibility("default"))) int tidewell_main(int argc, char** argv) {
    return TWLauncher::run(argc, argv);
}
