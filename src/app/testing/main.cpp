// SPDX-License-Identifier: MIT
// The entry point of tidewell-testing: the tidewell program with its test hooks, for the tests
// and benchmarks only (never installed). Linked as one program; the hand-over comes first, as in
// tidewell.
#include "TWFastHandOver.h"
#include "TWLauncher.h"
#include "TWSimLauncherTestHooks.h"

int main(int argc, char** argv) {
    if (const std::optional<int> status = TWFastHandOver::run(argc, argv))
        return *status;
    TWSimLauncherTestHooks hooks;
    return TWLauncher::run(argc, argv, &hooks);
}
