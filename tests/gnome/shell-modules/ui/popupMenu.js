// SPDX-License-Identifier: MIT
// Stand-in for GNOME Shell's ui/popupMenu.js (45 to 49): the menu items Tidewell's menu is made of.
import GObject from 'gi://GObject';
import St from 'gi://St';

export const PopupMenuItem = GObject.registerClass(
class PopupMenuItem extends St.BoxLayout {
    _init(text, params) {
        super._init();
    }
});

export const PopupSeparatorMenuItem = GObject.registerClass(
class PopupSeparatorMenuItem extends St.BoxLayout {
    _init(text) {
        super._init();
    }
});
