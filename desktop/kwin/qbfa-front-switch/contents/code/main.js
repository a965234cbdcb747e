// Tells qbfa's host which application is in front whenever KWin activates a
// window; the host decides for itself whether the application changed.

function report(window) {
    // KWin activates "no window" before each newly activated one.
    if (!window)
        return;
    // The host's method takes (s, i) exactly: String() keeps the class a
    // string, and `| 0` keeps the pid a whole number, which goes out as an
    // int32 where a fraction would go out as a double.
    callDBus("com.quillbox.Host", "/com/quillbox/Host", "com.quillbox.Host",
             "ReportFrontApplication", String(window.resourceClass), window.pid | 0);
}

// Plasma 6 calls windows "windows"; Plasma 5 called them "clients".
if (workspace.windowActivated) {
    workspace.windowActivated.connect(report);
    report(workspace.activeWindow);
} else {
    workspace.clientActivated.connect(report);
    report(workspace.activeClient);
}
