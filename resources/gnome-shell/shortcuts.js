// SPDX-License-Identifier: MIT
// Tidewell's global shortcuts: one accelerator per action, grabbed from the shell while the
// extension is enabled, a press reported as a signal of the window service.
// A module body like windows.js; see tidewell.js.

const TidewellShortcutActions = ['hide-others', 'show-all'];
// Modifiers that make a combination one (without them it would swallow ordinary typing), and
// the keys that need none: function keys F1 to F35.
const TidewellShortcutModifiers = ['control', 'primary', 'ctrl', 'alt', 'mod1', 'super', 'meta'];
const TidewellShortcutFunctionKey = /^F([1-9]|[12][0-9]|3[0-5])$/i;
// Where a shortcut works: on the desktop and in the overview, not on the lock screen.
const TidewellShortcutModes = Shell.ActionMode.NORMAL | Shell.ActionMode.OVERVIEW;

// Whether `accelerator` ("<Control><Alt>h") holds Ctrl, Alt or Super, or its key is a function
// key: the application's own rule for its combinations.
function tidewellShortcutAllowed(accelerator) {
    const modifiers = [...accelerator.matchAll(/<([^>]*)>/g)].map(m => m[1].toLowerCase());
    const key = accelerator.replace(/<[^>]*>/g, '');
    return modifiers.some(m => TidewellShortcutModifiers.includes(m)) ||
        TidewellShortcutFunctionKey.test(key);
}

class TidewellShortcuts {
    // `pressed(action)` runs for each press of a bound accelerator.
    constructor(pressed) {
        this._pressed = pressed;
        this._grabs = new Map(); // action -> {accelerator, id, name}
        this._signal = 0;
    }

    enable() {
        this._signal = global.display.connect('accelerator-activated', (display, id) => {
            for (const [action, grab] of this._grabs) {
                if (grab.id === id)
                    this._pressed(action);
            }
        });
    }

    disable() {
        for (const action of [...this._grabs.keys()])
            this._release(action);
        if (this._signal)
            global.display.disconnect(this._signal);
        this._signal = 0;
    }

    // Binds `accelerator` ("<Control><Alt>h"; empty: none) to `action`, replacing what it had.
    // Throws, leaving the action as it was, when the accelerator is not one or is taken.
    bind(action, accelerator) {
        if (!TidewellShortcutActions.includes(action))
            throw new Error(`There is no action “${action}”.`);
        if (accelerator && !tidewellShortcutAllowed(accelerator)) {
            throw new Error(`${accelerator} is no combination Tidewell binds: it needs Ctrl, ` +
                'Alt or Super, unless its key is a function key (F1 to F35).');
        }
        if (this._grabs.get(action)?.accelerator === accelerator)
            return;
        let grab = null;
        if (accelerator) {
            const id = global.display.grab_accelerator(accelerator, Meta.KeyBindingFlags.NONE);
            if (id === Meta.KeyBindingAction.NONE) {
                throw new Error(`GNOME Shell cannot bind ${accelerator}: another program or ` +
                    'the shell itself already uses it, or it is no key combination.');
            }
            grab = {accelerator, id, name: Meta.external_binding_name_for_action(id)};
            Main.wm.allowKeybinding(grab.name, TidewellShortcutModes);
        }
        this._release(action);
        if (grab)
            this._grabs.set(action, grab);
    }

    _release(action) {
        const grab = this._grabs.get(action);
        if (!grab)
            return;
        global.display.ungrab_accelerator(grab.id);
        Main.wm.allowKeybinding(grab.name, Shell.ActionMode.NONE);
        this._grabs.delete(action);
    }
}
