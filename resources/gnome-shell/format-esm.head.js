// SPDX-License-Identifier: MIT
// Tidewell's GNOME Shell extension for GNOME Shell 45 and later (ECMAScript modules),
// generated from resources/gnome-shell by the build: do not edit.
import Gio from 'gi://Gio';
import GLib from 'gi://GLib';
import Meta from 'gi://Meta';
import Shell from 'gi://Shell';
import * as Main from 'resource:///org/gnome/shell/ui/main.js';
import {Extension} from 'resource:///org/gnome/shell/extensions/extension.js';
