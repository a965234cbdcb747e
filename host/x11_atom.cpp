#include "host/x11_atom.h"

#include <cstdlib>
#include <cstring>

xcb_atom_t InternAtom(xcb_connection_t* connection, const char* name) {
  xcb_intern_atom_reply_t* reply = xcb_intern_atom_reply(
      connection, xcb_intern_atom(connection, 0, static_cast<uint16_t>(std::strlen(name)), name),
      nullptr);
  xcb_atom_t atom = reply != nullptr ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
  std::free(reply);
  return atom;
}
