// The host framework's log: one sink for every log line of the process.
//
// The sink receives finished bytes only. Writers format first (hkwprintf,
// CFShow) and hand over one complete piece per call, so pieces from different
// threads never interleave inside a line.
#ifndef HOOKWRIGHT_LOG_H_
#define HOOKWRIGHT_LOG_H_

#include <functional>
#include <string_view>

namespace hookwright {

using LogSink = std::function<void(std::string_view bytes)>;

// Replaces the sink; an empty function restores the default, standard error.
// Returns the sink that was installed before.
LogSink SetLogSink(LogSink sink);

// Hands `bytes` to the sink in one call (to standard error: one write(2),
// retried only for the part a short write left over).
void WriteLog(std::string_view bytes);

}  // namespace hookwright

#endif  // HOOKWRIGHT_LOG_H_
