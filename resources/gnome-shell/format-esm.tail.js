
export default class TidewellShellExtension extends Extension {
    enable() {
        this._tidewell = new TidewellExtension(this.path);
        this._tidewell.enable();
    }

    disable() {
        this._tidewell?.disable();
        this._tidewell = null;
    }
}
