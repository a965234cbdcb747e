// What the host logs of a failed sd-bus call.
#ifndef HOST_BUS_ERROR_H_
#define HOST_BUS_ERROR_H_

#include <cstring>
#include <string>

// "`what`: <the errno text of `r`>", for sd-bus's negative errno results.
inline std::string BusError(const char* what, int r) {
  return std::string(what) + ": " + std::strerror(-r);
}

#endif  // HOST_BUS_ERROR_H_
