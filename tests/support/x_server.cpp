#include "tests/support/x_server.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>
#include <utility>

namespace
{

[[noreturn]] void BecomeServer(int told)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // Without extra words on the test's own output.
    const int nowhere = ::open("/dev/null", O_RDWR);
    ::dup2(nowhere, STDOUT_FILENO);
    ::dup2(nowhere, STDERR_FILENO);
    const std::string descriptor = std::to_string(told);
    const std::string screen = std::to_string(CXServer::WIDTH) + "x" + std::to_string(CXServer::HEIGHT) + "x24";
    ::execlp("Xvfb", "Xvfb", "-displayfd", descriptor.c_str(), "-screen", "0", screen.c_str(), "+extension",
             "GLX", "-noreset", "-nolisten", "tcp", nullptr);
    ::_exit(127);
}

}  // namespace

CXServer::CXServer()
{
    int ends[2];
    if (::pipe(ends) != 0) throw std::runtime_error("no pipe for the display");
    m_iProcess = ::fork();
    if (m_iProcess == 0) {
        ::close(ends[0]);
        BecomeServer(ends[1]);
    }
    ::close(ends[1]);
    // The server writes its number when it takes connections, and takes a free one by itself.
    std::string number;
    char letter = 0;
    while (::read(ends[0], &letter, 1) == 1 && letter != '\n')
        number += letter;
    ::close(ends[0]);
    if (number.empty()) throw std::runtime_error("Xvfb does not start");
    m_strName = ":" + number;
}

CXServer::~CXServer()
{
    Kill();
}

void CXServer::Stop()
{
    ::kill(m_iProcess, SIGSTOP);
}

void CXServer::Kill()
{
    if (m_iProcess <= 0) return;
    ::kill(m_iProcess, SIGKILL);
    ::waitpid(std::exchange(m_iProcess, -1), nullptr, 0);
    const std::string number = m_strName.substr(1);
    ::unlink(("/tmp/.X" + number + "-lock").c_str());  // a server that was killed leaves them behind
    ::unlink(("/tmp/.X11-unix/X" + number).c_str());
}
