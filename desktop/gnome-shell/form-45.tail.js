
export default class QbfaFrontSwitchExtension extends Extension {
    enable() {
        this._reporter = new FrontSwitchReporter();
        this._reporter.enable();
    }

    disable() {
        this._reporter.disable();
        this._reporter = null;
    }
}
