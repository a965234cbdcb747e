// X11 atoms by name, as both the host's display source and the tests that
// play a window manager need them.
#ifndef HOST_X11_ATOM_H_
#define HOST_X11_ATOM_H_

#include <xcb/xcb.h>

// The atom called `name`, made when the server has none yet; XCB_ATOM_NONE
// when the server does not answer.
xcb_atom_t InternAtom(xcb_connection_t* connection, const char* name);

#endif  // HOST_X11_ATOM_H_
