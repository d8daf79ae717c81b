// SPDX-License-Identifier: MIT
// The top-bar button: Tidewell's icon while Tidewell runs and no tray shows its icon. A click
// hides the others, a Shift-click shows all, the right button opens Tidewell's menu as
// Tidewell's own D-Bus service (net.quillfen.Tidewell1) sends it when it opens.
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
    _init(service) {
        super._init(0.5, 'Tidewell', false);
        this._service = service;
        this._icon = new St.Icon({style_class: 'system-status-icon'});
        this.add_child(this._icon);
    }

    setIconName(name) {
        this._icon.gicon = Gio.icon_new_for_string(name);
    }

    // The primary button acts on release, as a click; the secondary one opens the menu.
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
            return Clutter.EVENT_STOP;
        }
        if (type === Clutter.EventType.TOUCH_END) {
            this.click(0);
            return Clutter.EVENT_STOP;
        }
        return Clutter.EVENT_PROPAGATE;
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
        if (this.menu.isOpen)
            this.menu.close();
        this._service.call(modifiers & Clutter.ModifierType.SHIFT_MASK ? 'ShowAll' : 'HideOthers');
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
            // An entry without a method is a caption.
            const item = new PopupMenu.PopupMenuItem(title, {reactive: method !== ''});
            if (method === 'Toggle') {
                // Shown applications are checked; hidden ones are not.
                item.setOrnament(hidden ? PopupMenu.Ornament.NONE : PopupMenu.Ornament.CHECK);
                item.tidewellHidden = hidden;
            }
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

    // Reads the icon and whether a tray shows Tidewell's icon, and shows or removes the button.
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
                this._button = new TidewellButton(service);
                Main.panel.addToStatusArea(TidewellButtonRole, this._button, 0, 'right');
            }
            if (properties.IconName)
                this._button.setIconName(properties.IconName);
        }, 'org.freedesktop.DBus.Properties');
    }
};
