// qbfa's front-application switches, for GNOME Shell 42 to 44.
/* exported init */
const {Gio, GLib, Shell} = imports.gi;

