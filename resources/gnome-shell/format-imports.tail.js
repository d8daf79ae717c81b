
/* exported init */
// `extension`: the shell's record of this extension (its folder is `path`).
function init(extension) {
    return new TidewellExtension(extension.path);
}
