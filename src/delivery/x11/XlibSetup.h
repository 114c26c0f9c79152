#pragma once

namespace murvelo {

// Once per process, before the first Xlib connection: threads may share Xlib, a protocol error
// (a requestor that vanished mid-transfer) is not fatal, and a display that goes away ends the
// process at once with a clear message, without running destructors under other threads' feet.
void prepareXlib();

}  // namespace murvelo
