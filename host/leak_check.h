// The leak check of sanitizer builds, timed for a process that unloads
// plug-ins.
#ifndef HOST_LEAK_CHECK_H_
#define HOST_LEAK_CHECK_H_

// A plug-in keeps some objects for the life of its image on purpose. Once it
// is unloaded, the statics that hold them are gone and the leak check at exit
// would call them lost. Call this just before unloading: under
// AddressSanitizer it checks for leaks now, with the plug-ins still loaded,
// and ends the process with the leak report should there be leaks; the check
// at exit is then skipped. Does nothing in other builds.
void CheckLeaksBeforeUnloading();

#endif  // HOST_LEAK_CHECK_H_
