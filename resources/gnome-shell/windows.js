// SPDX-License-Identifier: MIT
// The window service: the shell's windows listed, minimized, restored, activated and closed over
// D-Bus for Tidewell's processes only (interface in resources/dbus/net.quillfen.Tidewell.Shell1.xml).
// A module body without imports or exports: the build wraps it for each module format, with
// Gio, GLib, Meta, Main and TidewellShellInterfaceXML in scope. See tidewell.js.

const TidewellNamespace = 'net.quillfen.Tidewell';
const TidewellShellPath = '/net/quillfen/Tidewell/Shell';
const TidewellListedTypes = [
    Meta.WindowType.NORMAL,
    Meta.WindowType.DIALOG,
    Meta.WindowType.MODAL_DIALOG,
    Meta.WindowType.UTILITY,
];
// Callers remembered as allowed or refused; forgotten whenever a name in the namespace changes
// hands, and all at once past this many.
const TidewellMaxRememberedCallers = 256;

function tidewellInNamespace(name) {
    return name === TidewellNamespace || name.startsWith(`${TidewellNamespace}.`);
}

// One call to the bus daemon, as a promise of its unpacked reply.
function tidewellBusCall(method, parameters, replyType) {
    return new Promise((resolve, reject) => {
        Gio.DBus.session.call('org.freedesktop.DBus', '/org/freedesktop/DBus',
            'org.freedesktop.DBus', method, parameters, new GLib.VariantType(replyType),
            Gio.DBusCallFlags.NONE, -1, null, (connection, result) => {
                try {
                    resolve(connection.call_finish(result).deepUnpack()[0]);
                } catch (e) {
                    reject(e);
                }
            });
    });
}

class TidewellWindowService {
    constructor() {
        this._exported = null;
        this._callers = new Map();
        this._windows = new Map(); // Meta.Window -> its signal handler IDs
        this._displaySignals = [];
        this._busSignal = 0;
        this._shortcuts = null;
    }

    enable() {
        this._exported = Gio.DBusExportedObject.wrapJSObject(TidewellShellInterfaceXML, this);
        this._exported.export(Gio.DBus.session, TidewellShellPath);
        this._busSignal = Gio.DBus.session.signal_subscribe('org.freedesktop.DBus',
            'org.freedesktop.DBus', 'NameOwnerChanged', '/org/freedesktop/DBus', TidewellNamespace,
            Gio.DBusSignalFlags.MATCH_ARG0_NAMESPACE, () => this._callers.clear());
        this._displaySignals = [
            global.display.connect('window-created', (display, window) => this._track(window, true)),
            global.display.connect('notify::focus-window', () => this._emit('FocusChanged', '(t)',
                [this._focusedId()])),
        ];
        for (const actor of global.get_window_actors())
            this._track(actor.meta_window, false);
        this._shortcuts = new TidewellShortcuts(action => this._emit('ShortcutPressed', '(s)',
            [action]));
        this._shortcuts.enable();
        this._emit('ServiceChanged', '(b)', [true]);
    }

    disable() {
        this._emit('ServiceChanged', '(b)', [false]);
        this._shortcuts?.disable();
        this._shortcuts = null;
        for (const id of this._displaySignals)
            global.display.disconnect(id);
        this._displaySignals = [];
        for (const [window, ids] of this._windows)
            ids.forEach(id => window.disconnect(id));
        this._windows.clear();
        if (this._busSignal)
            Gio.DBus.session.signal_unsubscribe(this._busSignal);
        this._busSignal = 0;
        this._callers.clear();
        this._exported?.unexport();
        this._exported = null;
    }

    _emit(name, type, values) {
        this._exported?.emit_signal(name, new GLib.Variant(type, values));
    }

    _focusedId() {
        const window = global.display.focus_window;
        return window && this._windows.has(window) && this._listed(window) ? window.get_id() : 0;
    }

    _listed(window) {
        return !window.is_override_redirect() &&
            TidewellListedTypes.includes(window.get_window_type());
    }

    _track(window, announce) {
        if (this._windows.has(window))
            return;
        const id = window.get_id();
        this._windows.set(window, [
            window.connect('notify::minimized', () => {
                if (this._listed(window))
                    this._emit('MinimizedChanged', '(tb)', [id, window.minimized]);
            }),
            window.connect('unmanaged', () => {
                this._windows.get(window)?.forEach(handler => window.disconnect(handler));
                this._windows.delete(window);
                this._emit('WindowClosed', '(t)', [id]);
            }),
        ]);
        if (announce)
            this._emit('WindowOpened', '(t)', [id]);
    }

    _window(id) {
        for (const window of this._windows.keys()) {
            if (window.get_id() === id && this._listed(window))
                return window;
        }
        return null;
    }

    // Whether the sender's process owns a name in Tidewell's namespace (asked of the bus).
    _allowed(sender) {
        let answer = this._callers.get(sender);
        if (!answer) {
            if (this._callers.size >= TidewellMaxRememberedCallers)
                this._callers.clear();
            answer = this._checkCaller(sender).catch(() => false);
            this._callers.set(sender, answer);
        }
        return answer;
    }

    async _checkCaller(sender) {
        const pid = await tidewellBusCall('GetConnectionUnixProcessID',
            new GLib.Variant('(s)', [sender]), '(u)');
        const names = (await tidewellBusCall('ListNames', null, '(as)')).filter(tidewellInNamespace);
        for (const name of names) {
            const owner = await tidewellBusCall('GetNameOwner', new GLib.Variant('(s)', [name]), '(s)');
            if (owner === sender)
                return true;
            const ownerPid = await tidewellBusCall('GetConnectionUnixProcessID',
                new GLib.Variant('(s)', [owner]), '(u)');
            if (ownerPid === pid)
                return true;
        }
        return false;
    }

    // Answers the call with `answer()` (a variant, or null for no values) once the caller is
    // known to be Tidewell; an Error it throws is the error `errorName`.
    _answer(invocation, answer, errorName = 'org.freedesktop.DBus.Error.Failed') {
        this._allowed(invocation.get_sender()).then(allowed => {
            if (!allowed) {
                invocation.return_dbus_error('org.freedesktop.DBus.Error.AccessDenied',
                    'Only Tidewell may use this service');
                return;
            }
            try {
                invocation.return_value(answer());
            } catch (e) {
                invocation.return_dbus_error(errorName, `${e.message}`);
            }
        });
    }

    _onWindow(invocation, id, action) {
        this._answer(invocation, () => {
            const window = this._window(Number(id));
            if (window)
                action(window);
            return new GLib.Variant('(b)', [window !== null]);
        });
    }

    ListWindowsAsync(parameters, invocation) {
        this._answer(invocation, () => {
            const tracker = Shell.WindowTracker.get_default();
            const listed = [...this._windows.keys()].filter(w => this._listed(w));
            const stacking = new Map(global.display.sort_windows_by_stacking(listed)
                .map((w, index) => [w, index]));
            const focus = global.display.focus_window;
            const rows = listed.sort((a, b) => a.get_id() - b.get_id()).map(w => {
                const workspace = w.is_on_all_workspaces() ? null : w.get_workspace();
                const parent = w.get_transient_for();
                return [
                    w.get_id(),
                    tracker.get_window_app(w)?.get_id() ?? '',
                    w.get_sandboxed_app_id() ?? '',
                    w.get_wm_class() ?? '',
                    w.get_wm_class_instance() ?? '',
                    w.get_gtk_application_id() ?? '',
                    w.get_pid() > 0 ? w.get_pid() : -1,
                    w.get_title() ?? '',
                    w.minimized,
                    w === focus,
                    w.skip_taskbar,
                    parent ? parent.get_id() : 0,
                    w.get_window_type(),
                    workspace ? workspace.index() : -1,
                    stacking.get(w) ?? 0,
                ];
            });
            return new GLib.Variant('(a(tsssssisbbbtuiu))', [rows]);
        });
    }

    MinimizeAsync([id], invocation) {
        this._onWindow(invocation, id, w => w.minimize());
    }

    UnminimizeAsync([id], invocation) {
        this._onWindow(invocation, id, w => w.unminimize());
    }

    ActivateAsync([id], invocation) {
        this._onWindow(invocation, id, w => Main.activateWindow(w, global.get_current_time()));
    }

    CloseAsync([id], invocation) {
        this._onWindow(invocation, id, w => w.delete(global.get_current_time()));
    }

    BindShortcutAsync([action, accelerator], invocation) {
        this._answer(invocation, () => {
            this._shortcuts.bind(action, accelerator);
            return null;
        }, 'net.quillfen.Tidewell.Shell1.Error.ShortcutRefused');
    }
}
