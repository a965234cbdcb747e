// Tells `qbfa host` which application is in front, each time the focus moves
// to a window of another application. GNOME Shell on Wayland lets no other
// client see the focus, so the shell itself has to say.
//
// The imports and the way the shell enables this differ between shell
// versions; those come from the parts built around this file.

const HOST_NAME = 'com.quillbox.Host';
const HOST_PATH = '/com/quillbox/Host';
const HOST_INTERFACE = 'com.quillbox.Host';

// The focused window's application as the host tells applications apart: the
// shell's application id (foot.desktop), or for a window the shell could
// match to no application, the window's class, which is what the window
// calls its application.
function applicationOf(window) {
    const app = Shell.WindowTracker.get_default().get_window_app(window);
    if (app && !app.is_window_backed())
        return app.get_id();
    return window.get_wm_class() ?? '';
}

class FrontSwitchReporter {
    enable() {
        // Nothing reported yet: the first focused window is a switch.
        this._last = null;
        this._cancellable = new Gio.Cancellable();
        this._focusHandler = global.display.connect('notify::focus-window',
            () => this._focusMoved());
    }

    disable() {
        global.display.disconnect(this._focusHandler);
        this._cancellable.cancel();
        this._focusHandler = 0;
        this._cancellable = null;
        this._last = null;
    }

    _focusMoved() {
        const window = global.display.focus_window;
        // No window in front (the last one closed) is no application; the
        // one that comes back after it has not switched.
        if (!window)
            return;
        const application = applicationOf(window);
        const pid = Math.max(window.get_pid(), 0);
        // Without an application name only the process tells one from another.
        const identity = application !== '' ? application : `pid ${pid}`;
        if (identity === this._last)
            return;
        this._last = identity;
        this._report(application, pid);
    }

    _report(application, pid) {
        // The host's answer carries nothing; only a failure could come back.
        Gio.DBus.session.call(HOST_NAME, HOST_PATH, HOST_INTERFACE,
            'ReportFrontApplication', new GLib.Variant('(si)', [application, pid]),
            null, Gio.DBusCallFlags.NO_AUTO_START, -1, this._cancellable,
            (connection, result) => {
                try {
                    connection.call_finish(result);
                } catch (e) {
                    // No host running is the normal case until the user
                    // starts one: no error worth a line in the shell's log.
                }
            });
    }
}
