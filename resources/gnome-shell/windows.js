// SPDX-License-Identifier: MIT
// The window service: the shell's windows told to Tidewell's processes as they change, and
// minimized, restored, activated and closed for them over D-Bus, for them only (interface in
// resources/dbus/net.quillfen.Tidewell.Shell1.xml).
// A module body without imports or exports: the build wraps it for each module format, with
// Gio, GLib, Meta, Main and TidewellShellInterfaceXML in scope. See tidewell.js.

const TidewellNamespace = 'net.quillfen.Tidewell';
// The name each of Tidewell's processes takes for its pid (a second connection of one process
// takes it with a suffix "_N").
const TidewellProcessNamePrefix = `${TidewellNamespace}.Desktop.p`;
const TidewellShellPath = '/net/quillfen/Tidewell/Shell';
const TidewellShellInterface = 'net.quillfen.Tidewell.Shell1';
const TidewellWindowRowType = '(tsssssisbbbtuiu)';
const TidewellListedTypes = [
    Meta.WindowType.NORMAL,
    Meta.WindowType.DIALOG,
    Meta.WindowType.MODAL_DIALOG,
    Meta.WindowType.UTILITY,
];
// What changes a window's row (its minimized state has a signal of its own).
const TidewellWindowNotifications = ['title', 'wm-class', 'gtk-application-id', 'skip-taskbar',
    'transient-for', 'on-all-workspaces'];
// Callers' answers remembered; all forgotten at once past this many.
const TidewellMaxRememberedCallers = 256;
// Calls answered between two collections of the shell's JavaScript heap that this service asks
// for (see _noteCall).
const TidewellCallsPerCollection = 200;

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

// A tuple of one or two arrays of window IDs, "(at)" or "(atat)", parsed from its text: one
// string and one variant, where packing JavaScript arrays makes a variant per element (and
// GJS 43 keeps much of them).
const TidewellIdTupleTypes = [null, new GLib.VariantType('(at)'), new GLib.VariantType('(atat)')];
function tidewellIdTuple(arrays) {
    const text = arrays.map(ids => `[${ids.join(',')}]`).join(',');
    return GLib.Variant.parse(TidewellIdTupleTypes[arrays.length],
        arrays.length === 1 ? `(${text},)` : `(${text})`, null, null);
}

// Whether the error says a name has no owner (any more): an answer, not a failure.
function tidewellNoOwner(e) {
    return e instanceof GLib.Error && (e.matches(Gio.DBusError, Gio.DBusError.NAME_HAS_NO_OWNER) ||
        Gio.DBusError.get_remote_error(e) === 'org.freedesktop.DBus.Error.NameHasNoOwner');
}

class TidewellWindowService {
    constructor() {
        this._exported = null;
        this._callers = new Map(); // unique name -> promise of allowed
        this._allowedCallers = new Set(); // the ones whose answer came, and was yes
        this._subscribers = new Map(); // unique name -> its NameOwnerChanged subscription
        this._windows = new Map(); // Meta.Window -> its signal handler IDs
        // The tracked windows of the types Tidewell lists, kept as their types change: a
        // question to the window costs more than the minimize it decides on.
        this._listedSet = new Set();
        this._byId = new Map(); // window ID -> Meta.Window
        this._dirty = new Set(); // windows whose rows are to be sent
        // Windows whose minimized state changed: only their IDs are sent (the shell's
        // JavaScript keeps much of every value it builds for a message).
        this._minimizedDirty = new Set();
        this._closed = [];
        this._stackingDirty = false;
        this._focusDirty = false;
        this._flushSource = 0;
        this._skippedActors = new Set(); // the skips asked for, to drop once the shell is idle
        this._skipSource = 0;
        this._displaySignals = [];
        this._trackerSignal = 0;
        this._busSignal = 0;
        this._shortcuts = null;
        this._callsPerCollection = TidewellCallsPerCollection;
        this._callsSinceCollection = 0;
        this._collectSource = 0;
    }

    enable() {
        this._exported = Gio.DBusExportedObject.wrapJSObject(TidewellShellInterfaceXML, this);
        this._exported.export(Gio.DBus.session, TidewellShellPath);
        // A name in the namespace changing hands may change a caller's answer.
        this._busSignal = Gio.DBus.session.signal_subscribe('org.freedesktop.DBus',
            'org.freedesktop.DBus', 'NameOwnerChanged', '/org/freedesktop/DBus', TidewellNamespace,
            Gio.DBusSignalFlags.MATCH_ARG0_NAMESPACE, (c, s, p, i, n, parameters) => {
                const [, before, after] = parameters.deepUnpack();
                this._callers.delete(before);
                this._callers.delete(after);
                this._allowedCallers.delete(before);
                this._allowedCallers.delete(after);
                for (const [caller, answer] of this._callers)
                    answer.then(allowed => !allowed && this._callers.delete(caller), () => {});
            });
        this._displaySignals = [
            global.display.connect('window-created', (display, window) => this._track(window)),
            global.display.connect('notify::focus-window', () => {
                this._focusDirty = true;
                this._schedule();
            }),
            global.display.connect('restacked', () => {
                this._stackingDirty = true;
                this._schedule();
            }),
        ];
        this._trackerSignal = Shell.WindowTracker.get_default().connect('tracked-windows-changed',
            () => {
                this._windows.forEach((ids, window) => this._dirty.add(window));
                this._schedule();
            });
        for (const actor of global.get_window_actors())
            this._track(actor.meta_window);
        this._dirty.clear();
        this._shortcuts = new TidewellShortcuts(action => this._emit('ShortcutPressed', '(s)',
            [action]));
        this._shortcuts.enable();
        this._emit('ServiceChanged', '(bs)', [true, '']);
    }

    disable() {
        // The shell turns extensions off on the lock screen: that is not the user's doing.
        this._emit('ServiceChanged', '(bs)',
            [false, Main.sessionMode.isLocked ? 'locked' : 'disabled']);
        if (this._flushSource)
            GLib.source_remove(this._flushSource);
        this._flushSource = 0;
        if (this._skipSource)
            GLib.source_remove(this._skipSource);
        this._skipSource = 0;
        this._skippedActors.forEach(actor => Main.wm._skippedActors?.delete(actor));
        this._skippedActors.clear();
        if (this._collectSource)
            GLib.source_remove(this._collectSource);
        this._collectSource = 0;
        this._shortcuts?.disable();
        this._shortcuts = null;
        for (const id of this._displaySignals)
            global.display.disconnect(id);
        this._displaySignals = [];
        if (this._trackerSignal)
            Shell.WindowTracker.get_default().disconnect(this._trackerSignal);
        this._trackerSignal = 0;
        for (const [window, ids] of this._windows)
            ids.forEach(id => window.disconnect(id));
        this._windows.clear();
        this._listedSet.clear();
        this._byId.clear();
        this._dirty.clear();
        this._minimizedDirty.clear();
        this._closed = [];
        for (const id of this._subscribers.values())
            Gio.DBus.session.signal_unsubscribe(id);
        this._subscribers.clear();
        if (this._busSignal)
            Gio.DBus.session.signal_unsubscribe(this._busSignal);
        this._busSignal = 0;
        this._callers.clear();
        this._allowedCallers.clear();
        this._exported?.unexport();
        this._exported = null;
    }

    // A signal to every listener (only signals that carry no titles).
    _emit(name, type, values) {
        this._exported?.emit_signal(name, new GLib.Variant(type, values));
    }

    // A signal to each subscribed Tidewell process alone.
    _tell(name, variant) {
        for (const subscriber of this._subscribers.keys()) {
            try {
                Gio.DBus.session.emit_signal(subscriber, TidewellShellPath,
                    TidewellShellInterface, name, variant);
            } catch (e) {
                this._forget(subscriber);
            }
        }
    }

    _forget(subscriber) {
        const id = this._subscribers.get(subscriber);
        if (id !== undefined)
            Gio.DBus.session.signal_unsubscribe(id);
        this._subscribers.delete(subscriber);
    }

    _focusedId() {
        const window = global.display.focus_window;
        return window && this._listed(window) ? window.get_id() : 0;
    }

    _listed(window) {
        return this._listedSet.has(window);
    }

    _noteType(window) {
        if (!window.is_override_redirect() &&
            TidewellListedTypes.includes(window.get_window_type()))
            this._listedSet.add(window);
        else
            this._listedSet.delete(window);
    }

    _track(window) {
        if (this._windows.has(window))
            return;
        const id = window.get_id();
        const changed = () => {
            this._dirty.add(window);
            this._schedule();
        };
        const ids = TidewellWindowNotifications.map(name => window.connect(`notify::${name}`,
            changed));
        ids.push(window.connect('workspace-changed', changed));
        ids.push(window.connect('notify::window-type', () => {
            this._noteType(window);
            changed();
        }));
        ids.push(window.connect('notify::minimized', () => {
            this._minimizedDirty.add(window);
            this._schedule();
        }));
        ids.push(window.connect('unmanaged', () => {
            this._windows.get(window)?.forEach(handler => window.disconnect(handler));
            this._windows.delete(window);
            this._listedSet.delete(window);
            this._byId.delete(id);
            this._dirty.delete(window);
            this._minimizedDirty.delete(window);
            if (this._subscribers.size > 0)
                this._closed.push(id);
            this._schedule();
        }));
        this._windows.set(window, ids);
        this._noteType(window);
        this._byId.set(id, window);
        changed();
    }

    _window(id) {
        const window = this._byId.get(Number(id));
        return window && this._listed(window) ? window : null;
    }

    // Sends what changed since the last time, once the shell is idle: the rows of changed
    // windows, the closed ones, the stacking order and the focus.
    _schedule() {
        if (this._flushSource || this._subscribers.size === 0)
            return;
        this._flushSource = GLib.idle_add(GLib.PRIORITY_DEFAULT, () => {
            this._flushSource = 0;
            this._flush();
            return GLib.SOURCE_REMOVE;
        });
    }

    _flush() {
        if (this._subscribers.size === 0) {
            this._dirty.clear();
            this._minimizedDirty.clear();
            this._closed = [];
            this._stackingDirty = this._focusDirty = false;
            return;
        }
        if (this._dirty.size > 0) {
            const windows = [...this._dirty].filter(w => this._listed(w));
            this._dirty.clear();
            if (windows.length > 0) {
                this._tell('WindowsChanged', new GLib.Variant(`(a${TidewellWindowRowType})`,
                    [this._rows(windows)]));
            }
        }
        if (this._minimizedDirty.size > 0) {
            const minimized = [], restored = [];
            for (const w of this._minimizedDirty) {
                if (this._listed(w))
                    (w.minimized ? minimized : restored).push(w.get_id());
            }
            this._minimizedDirty.clear();
            if (minimized.length + restored.length > 0) {
                this._tell('MinimizedChanged', tidewellIdTuple([minimized, restored]));
            }
        }
        for (const id of this._closed.splice(0))
            this._tell('WindowClosed', new GLib.Variant('(t)', [id]));
        if (this._stackingDirty) {
            this._stackingDirty = false;
            this._tell('StackingChanged', tidewellIdTuple([this._stacking()]));
        }
        if (this._focusDirty) {
            this._focusDirty = false;
            this._tell('FocusChanged', new GLib.Variant('(t)', [this._focusedId()]));
        }
    }

    _listedWindows() {
        return [...this._listedSet];
    }

    // The listed windows' IDs, bottom to top.
    _stacking() {
        return global.display.sort_windows_by_stacking(this._listedWindows())
            .map(w => w.get_id());
    }

    _rows(windows) {
        const tracker = Shell.WindowTracker.get_default();
        const focus = global.display.focus_window;
        const stacking = new Map(this._stacking().map((id, index) => [id, index]));
        return windows.sort((a, b) => a.get_id() - b.get_id()).map(w => {
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
                stacking.get(w.get_id()) ?? 0,
            ];
        });
    }

    // Whether the sender is one of Tidewell's processes: the name Tidewell's processes take
    // for their pid (as the bus daemon reports it for the sender) is owned by the sender or
    // by another connection of that process. Answers are remembered per sender; an error
    // (rather than an answer) is not.
    _allowed(sender) {
        let answer = this._callers.get(sender);
        if (!answer) {
            if (this._callers.size >= TidewellMaxRememberedCallers) {
                this._callers.clear();
                this._allowedCallers.clear();
            }
            answer = this._checkCaller(sender);
            this._callers.set(sender, answer);
            answer.then(allowed => {
                if (allowed && this._callers.get(sender) === answer)
                    this._allowedCallers.add(sender);
            }, () => {});
            answer.catch(e => {
                if (this._callers.get(sender) === answer)
                    this._callers.delete(sender);
                console.warn(`Tidewell: cannot check the caller ${sender}: ${e.message}`);
            });
        }
        return answer.catch(() => false);
    }

    async _checkCaller(sender) {
        const pid = await tidewellBusCall('GetConnectionUnixProcessID',
            new GLib.Variant('(s)', [sender]), '(u)');
        let owner;
        try {
            owner = await tidewellBusCall('GetNameOwner',
                new GLib.Variant('(s)', [`${TidewellProcessNamePrefix}${pid}`]), '(s)');
        } catch (e) {
            if (tidewellNoOwner(e))
                return false;
            throw e;
        }
        if (owner === sender)
            return true;
        try {
            return await tidewellBusCall('GetConnectionUnixProcessID',
                new GLib.Variant('(s)', [owner]), '(u)') === pid;
        } catch (e) {
            if (tidewellNoOwner(e))
                return false;
            throw e;
        }
    }

    // Answers the call with `this[method](args, invocation)` (a variant, or null for no
    // values) once the caller is known to be Tidewell; an Error it throws is the error
    // `errorName`. A caller known to be Tidewell is answered at once, with no promise and no
    // closure made for the call.
    _answer(invocation, method, args = null, errorName = 'org.freedesktop.DBus.Error.Failed') {
        if (this._allowedCallers.has(invocation.get_sender())) {
            this._reply(invocation, true, method, args, errorName);
            return;
        }
        this._allowed(invocation.get_sender()).then(allowed =>
            this._reply(invocation, allowed, method, args, errorName));
    }

    _reply(invocation, allowed, method, args, errorName) {
        if (!allowed) {
            invocation.return_dbus_error('org.freedesktop.DBus.Error.AccessDenied',
                'Only Tidewell may use this service');
            return;
        }
        try {
            invocation.return_value(this[method](args, invocation));
        } catch (e) {
            invocation.return_dbus_error(errorName, `${e.message}`);
        }
        this._noteCall();
    }

    // Each call leaves its message, its invocation and their JavaScript wrappers to the
    // collector, which does not count the memory outside its heap: under a stream of calls
    // it collects seldom and the shell's memory grows to hold them, for good. A collection
    // after every so many calls, once the shell is idle, keeps that bounded.
    _noteCall() {
        if (++this._callsSinceCollection < this._callsPerCollection || this._collectSource)
            return;
        this._collectSource = GLib.idle_add(GLib.PRIORITY_LOW, () => {
            this._collectSource = 0;
            this._callsSinceCollection = 0;
            System.gc();
            return GLib.SOURCE_REMOVE;
        });
    }

    SubscribeAsync(parameters, invocation) {
        this._answer(invocation, '_subscribe');
    }

    _subscribe(args, invocation) {
        const sender = invocation.get_sender();
        if (!this._subscribers.has(sender)) {
            // Until the caller leaves the bus.
            this._subscribers.set(sender, Gio.DBus.session.signal_subscribe(
                'org.freedesktop.DBus', 'org.freedesktop.DBus', 'NameOwnerChanged',
                '/org/freedesktop/DBus', sender, Gio.DBusSignalFlags.NONE,
                (c, s, p, i, n, parameters) => {
                    if (!parameters.deepUnpack()[2])
                        this._forget(sender);
                }));
        }
        // What is pending was true before this answer: the rows below tell it.
        this._flush();
        return new GLib.Variant(`(a${TidewellWindowRowType})`,
            [this._rows(this._listedWindows())]);
    }

    SyncAsync(parameters, invocation) {
        this._answer(invocation, '_sync');
    }

    _sync() {
        this._flush();
        return null;
    }

    SetMinimizedAsync(parameters, invocation) {
        this._answer(invocation, '_setMinimizedAll', parameters);
    }

    _setMinimizedAll([ids, minimized]) {
        let done = '';
        for (const id of ids.split(',')) {
            if (id)
                done += this._setMinimized(id, minimized) ? '1' : '0';
        }
        this._dropUnusedSkips();
        // Told now rather than at the next idle: the subscribers hear of the windows this request
        // changed before its answer.
        this._flush();
        return new GLib.Variant('(s)', [done]);
    }

    // Minimizes or restores window `id`; whether it is in that state now.
    _setMinimized(id, minimized) {
        const window = this._window(id);
        if (!window)
            return false;
        try {
            if (window.minimized !== minimized) {
                // Tidewell's own hide and show are instant; the user's still animate. A window
                // off the screen plays no effect: its skip is dropped at the next idle.
                const actor = window.get_compositor_private();
                if (actor) {
                    Main.wm.skipNextEffect(actor);
                    this._skippedActors.add(actor);
                }
                if (minimized)
                    window.minimize();
                else
                    window.unminimize();
            }
        } catch (e) {
            console.warn(`Tidewell: window ${id}: ${e.message}`);
        }
        return window.minimized === minimized;
    }

    // A skip no effect used up (the shell showed no effect for that window, or did not do
    // it) would swallow the user's next one: dropped once the shell is idle. One idle source
    // for all the requests until then: a closure per request is memory the shell keeps.
    _dropUnusedSkips() {
        if (this._skipSource || this._skippedActors.size === 0)
            return;
        this._skipSource = GLib.idle_add(GLib.PRIORITY_LOW, () => {
            this._skipSource = 0;
            this._skippedActors.forEach(actor => Main.wm._skippedActors?.delete(actor));
            this._skippedActors.clear();
            return GLib.SOURCE_REMOVE;
        });
    }

    ActivateAsync([id], invocation) {
        this._answer(invocation, '_activate', id);
    }

    _activate(id) {
        const window = this._window(id);
        if (window)
            Main.activateWindow(window, global.get_current_time());
        return new GLib.Variant('(b)', [window !== null]);
    }

    CloseAsync([id], invocation) {
        this._answer(invocation, '_close', id);
    }

    _close(id) {
        const window = this._window(id);
        window?.delete(global.get_current_time());
        return new GLib.Variant('(b)', [window !== null]);
    }

    BindShortcutAsync(parameters, invocation) {
        this._answer(invocation, '_bindShortcut', parameters,
            'net.quillfen.Tidewell.Shell1.Error.ShortcutRefused');
    }

    _bindShortcut([action, accelerator]) {
        this._shortcuts.bind(action, accelerator);
        return null;
    }
}
