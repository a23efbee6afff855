#pragma once

namespace recorder
{

/// From now on warnings and errors of the libav libraries go to standard error once each, line by line, without
/// passwords and control characters. From any thread; the messages themselves come from any thread.
void SayLibAvWarningsOnce();

}  // namespace recorder
