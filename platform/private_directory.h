// Directories that only their owner may use, opened safely.
#ifndef PLATFORM_PRIVATE_DIRECTORY_H_
#define PLATFORM_PRIVATE_DIRECTORY_H_

#include <string>

// Opens the directory `name` (relative to `parent_fd`, or an absolute path
// with AT_FDCWD), creating it with mode 0700 when it does not exist. Refuses
// a symbolic link, a directory that belongs to another user and one that
// group or others may enter, read or write: someone else could then read or
// plant what we keep there.
//
// Returns the directory's descriptor (close-on-exec), or -1 with `error` set
// to an errno value and `why` to a sentence for the log. A refusal sets
// `error` to EPERM.
int OpenPrivateDirectory(int parent_fd, const std::string& name, int* error, std::string* why);

#endif  // PLATFORM_PRIVATE_DIRECTORY_H_
