// A shared library that is no plug-in: its entry point is a near miss.
extern "C" __attribute__((visibility("default"))) int QBFA_Initialise(void) {
  return 0;
}
