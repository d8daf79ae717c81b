// SPDX-License-Identifier: MIT
// The entry point of tidewell.
#include "TWLauncher.h"

int main(int argc, char** argv) {
    return TWLauncher::run(argc, argv);
}
