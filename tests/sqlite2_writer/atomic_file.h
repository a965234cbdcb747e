// Replacing a file so that a reader opening it sees either the old contents
// or the new, never a file half written.
#ifndef TESTS_SQLITE2_WRITER_ATOMIC_FILE_H_
#define TESTS_SQLITE2_WRITER_ATOMIC_FILE_H_

#include <cstdint>
#include <span>
#include <string>

#include "sqlite2/status.h"

namespace sqlite2::writer {

// Writes `bytes` to a temporary file next to `path` (mode 0644 less the
// umask, as the library creates databases) and renames it over `path`.
Status WriteFileAtomically(const std::string& path, std::span<const uint8_t> bytes);

}  // namespace sqlite2::writer

#endif  // TESTS_SQLITE2_WRITER_ATOMIC_FILE_H_
