// How much a TCP peer would take at once. Stateless.
#pragma once

#include <cstddef>

namespace sim {

/// True when the peer's window has room for so many bytes behind all that is already sent, and when the peer
/// is gone. What is written then arrives in one piece; what is written into a smaller window is cut there.
bool fitsWindow(int fd, size_t size);

}  // namespace sim
