#include "recorder/server/Streams.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <initializer_list>

namespace recorder
{

void KeepStreams()
{
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) >= 0) continue;
        // The lowest free number is this one. A full device, since what is printed there is lost.
        const bool read = stream == STDIN_FILENO;
        static_cast<void>(read ? ::open("/dev/null", O_RDONLY) : ::open("/dev/full", O_WRONLY));
    }
    std::signal(SIGPIPE, SIG_IGN);
}

}  // namespace recorder
