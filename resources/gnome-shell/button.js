// SPDX-License-Identifier: MIT
// The top-bar button: Tidewell's symbolic icon while Tidewell runs and no tray shows its icon. A
// click (a tap) hides the others, a Shift-click or a middle click shows all, the right button (a
// long press) opens Tidewell's menu as Tidewell's own D-Bus service (net.quillfen.Tidewell1) sends
// it when it opens: the same menu as Tidewell's tray menu on other desktops.
// A module body like windows.js: the build's head for each module format imports what it uses.

const TidewellBusName = 'net.quillfen.Tidewell';
const TidewellObjectPath = '/net/quillfen/Tidewell';
const TidewellInterface = 'net.quillfen.Tidewell1';
// The button's name in the panel's status area (Main.panel.statusArea.tidewell).
const TidewellButtonRole = 'tidewell';
// Calls to Tidewell never block the shell; one that takes longer than this is given up.
const TidewellCallTimeoutMs = 5000;

// Tidewell's service as the button reaches it: asynchronous calls, each given up when the
// service goes away.
class TidewellService {
    constructor() {
        this._cancellable = new Gio.Cancellable();
    }

    // Calls `method` of Tidewell's interface (or of `iface`) with `parameters` (a GLib.Variant
    // or null); `done(result)` receives the unpacked reply when it arrives.
    call(method, parameters = null, done = null, iface = TidewellInterface) {
        Gio.DBus.session.call(TidewellBusName, TidewellObjectPath, iface, method, parameters,
            null, Gio.DBusCallFlags.NONE, TidewellCallTimeoutMs, this._cancellable,
            (connection, result) => {
                let reply;
                try {
                    reply = connection.call_finish(result);
                } catch (e) {
                    if (!e.matches(Gio.IOErrorEnum, Gio.IOErrorEnum.CANCELLED))
                        console.warn(`Tidewell: ${method} failed: ${e.message}`);
                    return;
                }
                if (done)
                    done(reply.recursiveUnpack());
            });
    }

    destroy() {
        this._cancellable.cancel();
    }
}

const TidewellButton = GObject.registerClass(
class TidewellButton extends PanelMenu.Button {
    // `icon`: the symbolic icon's file (drawn in the top bar's text colour, as the shell's own).
    _init(service, icon) {
        super._init(0.5, 'Tidewell', false);
        this._service = service;
        this._longPress = 0;
        this._icon = new St.Icon({
            style_class: 'system-status-icon',
            gicon: Gio.FileIcon.new(Gio.File.new_for_path(icon)),
        });
        this.add_child(this._icon);
        this.connect('destroy', () => this._endLongPress());
    }

    // The primary and middle buttons act on release, as a click; the secondary one opens the
    // menu. A touch is a click when short, and opens the menu when held as a long press.
    vfunc_event(event) {
        const type = event.type();
        if (type === Clutter.EventType.BUTTON_PRESS) {
            if (event.get_button() === Clutter.BUTTON_SECONDARY)
                this.openMenu();
            return Clutter.EVENT_STOP;
        }
        if (type === Clutter.EventType.BUTTON_RELEASE) {
            if (event.get_button() === Clutter.BUTTON_PRIMARY)
                this.click(event.get_state());
            else if (event.get_button() === Clutter.BUTTON_MIDDLE)
                this._request('ShowAll');
            return Clutter.EVENT_STOP;
        }
        if (type === Clutter.EventType.TOUCH_BEGIN) {
            this._endLongPress();
            this._longPress = GLib.timeout_add(GLib.PRIORITY_DEFAULT,
                Clutter.Settings.get_default().long_press_duration, () => {
                    this._longPress = 0;
                    this.openMenu();
                    return GLib.SOURCE_REMOVE;
                });
            return Clutter.EVENT_STOP;
        }
        if (type === Clutter.EventType.TOUCH_END) {
            if (this._endLongPress())
                this.click(0);
            return Clutter.EVENT_STOP;
        }
        if (type === Clutter.EventType.TOUCH_CANCEL) {
            this._endLongPress();
            return Clutter.EVENT_STOP;
        }
        return Clutter.EVENT_PROPAGATE;
    }

    // Stops waiting for a long press; true when one was still to come (the touch was a tap).
    _endLongPress() {
        if (!this._longPress)
            return false;
        GLib.source_remove(this._longPress);
        this._longPress = 0;
        return true;
    }

    // The keyboard opens the menu (space, return), as on every top-bar button.
    vfunc_key_press_event(event) {
        const symbol = event.get_key_symbol();
        if (symbol === Clutter.KEY_space || symbol === Clutter.KEY_Return ||
            symbol === Clutter.KEY_KP_Enter) {
            this.openMenu();
            return Clutter.EVENT_STOP;
        }
        return super.vfunc_key_press_event(event);
    }

    // The click on Tidewell's icon: Shift shows all, anything else hides the others.
    click(modifiers) {
        this._request(modifiers & Clutter.ModifierType.SHIFT_MASK ? 'ShowAll' : 'HideOthers');
    }

    _request(method) {
        if (this.menu.isOpen)
            this.menu.close();
        this._service.call(method);
    }

    // Asks Tidewell for its menu and opens it once the answer is there (closes it when open).
    openMenu() {
        if (this.menu.isOpen) {
            this.menu.close();
            return;
        }
        this._service.call('Menu', null, ([entries]) => {
            this._fill(entries);
            this.menu.open();
        });
    }

    _fill(entries) {
        this.menu.removeAll();
        for (const [method, title, argument, hidden] of entries) {
            if (!method && !title) {
                this.menu.addMenuItem(new PopupMenu.PopupSeparatorMenuItem());
                continue;
            }
            // An entry without a method is a caption. Like the tray menu, the list of applications
            // shows no state: choosing one toggles it.
            const item = new PopupMenu.PopupMenuItem(title, {reactive: method !== ''});
            item.tidewellHidden = hidden;
            item.tidewellMethod = method;
            if (method) {
                item.connect('activate', () => this._service.call(method,
                    argument ? new GLib.Variant('(s)', [argument]) : null));
            }
            this.menu.addMenuItem(item);
        }
    }
});

// Shows the button while Tidewell owns its bus name and no tray shows Tidewell's icon.
const TidewellButtonController = class {
    // `icon`: the button's symbolic icon (a file of the extension's).
    constructor(icon) {
        this._icon = icon;
    }

    enable() {
        this._watch = Gio.bus_watch_name(Gio.BusType.SESSION, TidewellBusName,
            Gio.BusNameWatcherFlags.NONE, () => this._appeared(), () => this._vanished());
    }

    disable() {
        if (this._watch)
            Gio.bus_unwatch_name(this._watch);
        this._watch = 0;
        this._vanished();
    }

    // The button, or null while none is shown.
    get button() {
        return this._button ?? null;
    }

    _appeared() {
        this._vanished();
        this._service = new TidewellService();
        this._changed = Gio.DBus.session.signal_subscribe(TidewellBusName, TidewellInterface,
            'Changed', TidewellObjectPath, null, Gio.DBusSignalFlags.NONE,
            () => this._refresh());
        this._refresh();
    }

    _vanished() {
        if (this._changed)
            Gio.DBus.session.signal_unsubscribe(this._changed);
        this._changed = 0;
        this._service?.destroy();
        this._service = null;
        this._button?.destroy();
        this._button = null;
    }

    // Reads whether a tray shows Tidewell's icon, and shows or removes the button.
    _refresh() {
        const service = this._service;
        service?.call('GetAll', new GLib.Variant('(s)', [TidewellInterface]), ([properties]) => {
            if (service !== this._service)
                return;
            if (properties.TrayIconShown) {
                this._button?.destroy();
                this._button = null;
                return;
            }
            if (!this._button) {
                this._button = new TidewellButton(service, this._icon);
                Main.panel.addToStatusArea(TidewellButtonRole, this._button, 0, 'right');
            }
        }, 'org.freedesktop.DBus.Properties');
    }
};
