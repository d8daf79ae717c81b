// SPDX-License-Identifier: MIT
// The extension's entry point: what enable() creates and disable() takes away again. Nothing is
// created before enable(). A module body like windows.js; see format-imports.js and
// format-esm.js for how the build wraps it.

// The file of the top-bar button's icon, in the extension's folder.
const TidewellSymbolicIcon = 'net.quillfen.Tidewell-symbolic.svg';

class TidewellExtension {
    // `path`: the extension's folder, as the shell gives it.
    constructor(path) {
        this._path = path;
    }

    enable() {
        this._windows = new TidewellWindowService();
        this._windows.enable();
        this._button = new TidewellButtonController(`${this._path}/${TidewellSymbolicIcon}`);
        this._button.enable();
    }

    disable() {
        this._button?.disable();
        this._button = null;
        this._windows?.disable();
        this._windows = null;
    }
}
