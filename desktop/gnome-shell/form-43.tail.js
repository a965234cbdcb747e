
function init() {
    return new FrontSwitchReporter();
}
