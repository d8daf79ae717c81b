// SPDX-License-Identifier: MIT
// Stand-in for GNOME Shell's extensions/extension.js (45 to 49): the base class of an extension,
// made by the shell with the extension's metadata (its folder in `path`).
export class Extension {
    constructor(metadata) {
        if (!metadata)
            throw new Error(`${this.constructor.name} did not pass metadata to parent`);
        this.metadata = metadata;
    }

    get uuid() {
        return this.metadata['uuid'];
    }

    get path() {
        return this.metadata['path'];
    }

    enable() {}

    disable() {}
}
