// SPDX-License-Identifier: MIT
// Tidewell's GNOME Shell extension for GNOME Shell 43 and 44 (module format of `imports`),
// generated from resources/gnome-shell by the build: do not edit.
'use strict';

const {Clutter, Gio, GLib, GObject, Meta, Shell, St} = imports.gi;
const Main = imports.ui.main;
const System = imports.system;
const PanelMenu = imports.ui.panelMenu;
const PopupMenu = imports.ui.popupMenu;
