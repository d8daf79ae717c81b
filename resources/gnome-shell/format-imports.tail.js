
/* exported init */
function init() {
    return new TidewellExtension();
}
