// SPDX-License-Identifier: MIT
// Stand-in for GNOME Shell's ui/main.js: what Tidewell's extension uses of it, each present with
// this shape in GNOME Shell 45, 46, 47, 48 and 49. Add a member only once it is in all of them.
export const panel = {
    addToStatusArea(role, indicator, position, box) {},
};
export const wm = {
    allowKeybinding(name, modes) {},
    skipNextEffect(actor) {},
    // Private, but the same Set in every release: a skip no effect used up is taken back.
    _skippedActors: new Set(),
};
export const sessionMode = {
    isLocked: false,
};
export function activateWindow(window, time, workspaceNum) {}
