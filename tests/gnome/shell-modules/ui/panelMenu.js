// SPDX-License-Identifier: MIT
// Stand-in for GNOME Shell's ui/panelMenu.js (45 to 49): the top-bar button, an St widget.
import GObject from 'gi://GObject';
import St from 'gi://St';

export const Button = GObject.registerClass(
class PanelMenuButton extends St.Widget {
    _init(menuAlignment, nameText, dontCreateMenu) {
        super._init({reactive: true, can_focus: true, track_hover: true});
    }
});
