#pragma once

namespace recorder
{

/// Makes the standard streams harmless, whatever whoever started the program has left of them. First of all,
/// before anything is opened: what opens next would get the number of a closed stream, and all that is printed
/// with it. Printing into a closed stream, or to somebody who reads no longer, fails and does no more.
void KeepStreams();

}  // namespace recorder
