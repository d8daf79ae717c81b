// SPDX-License-Identifier: MIT
// The entry point of tidewell-testing: the tidewell program with its test hooks, for the tests
// and benchmarks only (never installed).
#include "TWLauncher.h"
#include "TWSimLauncherTestHooks.h"

int main(int argc, char** argv) {
    TWSimLauncherTestHooks hooks;
    return TWLauncher::run(argc, argv, &hooks);
}
