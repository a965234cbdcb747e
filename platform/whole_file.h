// Whole-file reads and atomic replacement, relative to an open directory.
//
// Working from a directory descriptor rather than a path means a directory
// checked once (owner, mode, not a link) cannot be swapped under us later.
#ifndef PLATFORM_WHOLE_FILE_H_
#define PLATFORM_WHOLE_FILE_H_

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "platform/data.h"

enum class FinalLink { kRefuse, kFollow };

// Opens the regular file `name` in `dir_fd` for reading and stores the
// descriptor in `*fd`. Returns 0 or an errno value: ELOOP when `name` is a
// symbolic link and `link` is kRefuse, EINVAL for anything but a regular
// file (a FIFO would block the reader).
int OpenRegularFile(int dir_fd, const std::string& name, FinalLink link, int* fd);

// Reads all of the open file `fd`, from its start, into a buffer of its own
// in `bytes`. Returns 0 or an errno value: EFBIG when it is longer than
// `limit`.
int ReadOpenFile(int fd, size_t limit, cf::Data* bytes);

// Reads the regular file `name` in `dir_fd` into `bytes`: OpenRegularFile's
// errors, and EFBIG when it is longer than `limit`.
int ReadWholeFile(int dir_fd, const std::string& name, size_t limit, std::string* bytes,
                  FinalLink link = FinalLink::kRefuse);

// Replaces `name` in `dir_fd` with `bytes`: a temporary file (mode 0600) is
// written, flushed to disk and renamed over `name`, so a reader sees either
// the old content or the new one, never a part. Returns 0 or an errno value;
// on failure `name` is left as it was.
int WriteWholeFileAtomically(int dir_fd, const std::string& name, std::string_view bytes);

// The same for the bytes of `pieces`, one after another, written together.
// When `reader` is given it receives a descriptor open for reading on the
// new file, which stays that file whatever later replaces `name`.
int WriteWholeFileAtomically(int dir_fd, const std::string& name,
                             std::span<const std::string_view> pieces, int* reader = nullptr);

#endif  // PLATFORM_WHOLE_FILE_H_
