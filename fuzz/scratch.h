// Files the checks hand to code that reads only files: a folder of the
// process's own, made on first use under $TMPDIR and removed at exit, and
// whole-file reads and writes that abort rather than fail, since a check
// that cannot set up its input has nothing to say about it.
#ifndef FUZZ_SCRATCH_H_
#define FUZZ_SCRATCH_H_

#include <string>
#include <string_view>

namespace qbfa_fuzz {

// The folder, without a trailing "/".
const std::string& ScratchDirectory();

void WriteFile(const std::string& path, std::string_view bytes);

// The file's bytes; nothing but `missing` when it does not exist.
std::string ReadFile(const std::string& path, bool* missing = nullptr);

}  // namespace qbfa_fuzz

#endif  // FUZZ_SCRATCH_H_
