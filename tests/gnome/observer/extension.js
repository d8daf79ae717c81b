// SPDX-License-Identifier: MIT
// Test only: turns on the shell's unsafe mode, so that org.gnome.Shell.Eval answers the tests
// (an observer of window states that does not go through Tidewell's extension), and leaves the
// overview the shell starts in, as a user would.
'use strict';

const Main = imports.ui.main;

/* exported init */
function init() {
    return {
        enable() {
            global.context.unsafe_mode = true;
            if (Main.layoutManager._startingUp)
                Main.layoutManager.connect('startup-complete', () => Main.overview.hide());
            else
                Main.overview.hide();
        },
        disable() {
            global.context.unsafe_mode = false;
        },
    };
}
