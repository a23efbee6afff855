#include "host/Streams.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <initializer_list>

void KeepStreams()
{
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        // The lowest free number is this one. A device that can't be opened leaves things as they were.
        if (::fcntl(stream, F_GETFD) < 0) static_cast<void>(::open("/dev/null", O_RDWR));
    }
    std::signal(SIGPIPE, SIG_IGN);
}
