// SPDX-License-Identifier: MIT
// The extension's ECMAScript-module build (GNOME Shell 45 and later, not run here) loaded in gjs
// as the shell loads it, its imports of the shell's modules pointed at stand-ins (shell-modules/,
// each with what the extension uses of the real module in every release it claims). It fails on
// an import of a module the shell does not have, a name a module does not export, a member the
// extension reads of a module (or of Meta, Shell, St, Clutter) that is not there, and an
// extension class the shell could not make and enable.
// Usage: gjs -m check_extension_module.js EXTENSION-JS STAND-IN-FOLDER
import GLib from 'gi://GLib';
import System from 'system';

const [extensionPath, standIns] = System.programArgs;
const shellPrefix = 'resource:///org/gnome/shell/';
const problems = [];
// The stand-in's address for a shell module's specifier.
const standIn = specifier => GLib.filename_to_uri(
    `${standIns}/${specifier.slice(shellPrefix.length)}`, null);

const source = new TextDecoder().decode(GLib.file_get_contents(extensionPath)[1]);
const imports = [...source.matchAll(/^import\s+(.+?)\s+from\s+'([^']+)';$/gm)];
let copy = source;
for (const [line, , specifier] of imports) {
    if (specifier.startsWith('gi://') || specifier === 'system') // GJS's own module
        continue;
    if (!specifier.startsWith(shellPrefix) ||
        !GLib.file_test(GLib.filename_from_uri(standIn(specifier))[0], GLib.FileTest.EXISTS))
        problems.push(`${specifier}: no such module in GNOME Shell`);
    else
        copy = copy.replace(line, line.replace(specifier, standIn(specifier)));
}

let module = null;
if (!problems.length) {
    const folder = GLib.dir_make_tmp('tidewell-extension-XXXXXX');
    const copyPath = `${folder}/extension.js`;
    GLib.file_set_contents(copyPath, copy);
    try {
        module = await import(GLib.filename_to_uri(copyPath, null));
    } catch (e) {
        problems.push(`not loaded: ${e}`);
    }
    GLib.unlink(copyPath);
    GLib.rmdir(folder);
}

if (module) {
    // Every member chain the code reads of a module's namespace (comments, and those of the
    // interface XML, left out) must exist.
    const code = source.replace(/\/\*[\s\S]*?\*\//g, '').replace(/<!--[\s\S]*?-->/g, '').replace(/(^|\s)\/\/.*$/gm, '$1');
    const namespaces = {};
    for (const [, binding, specifier] of imports) {
        const name = binding.replace(/^\* as /, '');
        if (/^\w+$/.test(name) && (specifier.startsWith(shellPrefix) ||
            ['gi://Meta', 'gi://Shell', 'gi://St', 'gi://Clutter'].includes(specifier)))
            namespaces[name] = specifier;
    }
    const loaded = {};
    for (const [name, specifier] of Object.entries(namespaces)) {
        loaded[name] = specifier.startsWith('gi://')
            ? (await import(specifier)).default : await import(standIn(specifier));
    }
    const chains = new Set(code.match(new RegExp(
        `\\b(${Object.keys(namespaces).join('|')})(\\.[A-Za-z_$][\\w$]*)+`, 'g')));
    for (const chain of chains) {
        const [name, ...members] = chain.split('.');
        let value = loaded[name];
        for (const member of members) {
            if (value === null || !['object', 'function'].includes(typeof value))
                break;
            if (!(member in value)) {
                problems.push(`${chain}: ${namespaces[name]} has no ${member}`);
                break;
            }
            value = value[member];
        }
    }

    // The shell makes the default export with the metadata and calls its enable() and disable().
    const {Extension} = await import(standIn(`${shellPrefix}extensions/extension.js`));
    const made = module.default?.prototype;
    if (!(made instanceof Extension) || !Object.hasOwn(made, 'enable') ||
        !Object.hasOwn(made, 'disable'))
        problems.push('the default export is no Extension with enable() and disable() of its own');
}

for (const problem of problems)
    printerr(`${extensionPath}: ${problem}`);
System.exit(problems.length ? 1 : 0);
