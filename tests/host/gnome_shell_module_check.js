// Loads a form of qbfa's GNOME Shell extension as GNOME Shell 45 and later
// load extensions, as an ES module, without such a shell: its one import that
// only the shell resolves is replaced with a stand-in, and the shell's
// global.display with one that records what the extension connects. Prints
// what the metadata says and what loading showed, for the test to compare.
//
//   gjs -m gnome_shell_module_check.js EXTENSION_FOLDER
import Gio from 'gi://Gio';
import GLib from 'gi://GLib';
import System from 'system';

const SHELL_EXTENSION_MODULE = 'resource:///org/gnome/shell/extensions/extension.js';

function read(path) {
    const [, bytes] = GLib.file_get_contents(path);
    return new TextDecoder().decode(bytes);
}

function write(path, text) {
    GLib.file_set_contents(path, text);
}

const [folder] = System.programArgs;
const metadata = JSON.parse(read(`${folder}/metadata.json`));
print(`uuid ${metadata.uuid}`);
print(`shell-version ${metadata['shell-version'].join(' ')}`);

const copy = GLib.dir_make_tmp('qbfa-extension-XXXXXX');
write(`${copy}/shell-extension.js`,
    'export class Extension { constructor(metadata) { this.metadata = metadata; } }\n');
write(`${copy}/extension.js`,
    read(`${folder}/extension.js`).replace(SHELL_EXTENSION_MODULE, './shell-extension.js'));

const handlers = new Map();
let nextHandler = 1;
globalThis.global = {
    display: {
        connect(signal) {
            handlers.set(nextHandler, signal);
            return nextHandler++;
        },
        disconnect(id) {
            handlers.delete(id);
        },
    },
};
const connected = () => [...handlers.values()].join(' ') || 'nothing';

try {
    const module = await import(`file://${copy}/extension.js`);
    const {Extension} = await import(`file://${copy}/shell-extension.js`);
    if (typeof module.default !== 'function')
        throw new Error('it has no default export for the shell to construct');
    const extension = new module.default(metadata);
    print(`default export extends Extension: ${extension instanceof Extension}`);
    extension.enable();
    print(`enabled, connected: ${connected()}`);
    extension.disable();
    print(`disabled, connected: ${connected()}`);
} catch (e) {
    print(`does not load as a module: ${e}`);
} finally {
    for (const name of ['extension.js', 'shell-extension.js'])
        Gio.File.new_for_path(`${copy}/${name}`).delete(null);
    Gio.File.new_for_path(copy).delete(null);
}
