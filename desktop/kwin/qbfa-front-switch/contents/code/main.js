// Tells qbfa's host which application is in front whenever KWin activates a
// window; the host decides for itself whether the application changed.

function report(window) {
    // KWin activates "no window" before each newly activated one.
    if (!window)
        return;
    // The host's method takes (s, i) exactly. resourceClass is a string
    // (KWin 5.27 and 6 alike); callDBus sends a number as an int32 only when
    // it holds a 32-bit integer, which `| 0` makes sure of, and as a double
    // otherwise.
    callDBus("com.quillbox.Host", "/com/quillbox/Host", "com.quillbox.Host",
             "ReportFrontApplication", window.resourceClass, window.pid | 0);
}

// Plasma 6 calls windows "windows"; Plasma 5 called them "clients".
if (workspace.windowActivated) {
    workspace.windowActivated.connect(report);
    report(workspace.activeWindow);
} else {
    workspace.clientActivated.connect(report);
    report(workspace.activeClient);
}
