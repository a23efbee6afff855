#include "tests/remote/directory/directory_support.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

#include "tests/remote/p2p/p2p_support.h"

CScriptedDirectory::CScriptedDirectory(Script script) : m_Script(std::move(script))
{
    m_iSocket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = MakeAddress("127.0.0.1", 0);
    socklen_t size = sizeof address;
    if (bind(m_iSocket, reinterpret_cast<sockaddr*>(&address), size) != 0 || listen(m_iSocket, 5) != 0 ||
        getsockname(m_iSocket, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        throw std::runtime_error("no socket for a scripted directory");
    m_Endpoints.directoryPort = ntohs(address.sin_port);
    m_Thread = std::thread([this] { Run(); });
}

CScriptedDirectory::CScriptedDirectory(const std::string& reply)
    : CScriptedDirectory([reply](int connection, const std::string&) {
          send(connection, reply.data(), reply.size(), MSG_NOSIGNAL);
      })
{
}

CScriptedDirectory::~CScriptedDirectory()
{
    shutdown(m_iSocket, SHUT_RDWR);
    m_Thread.join();
    close(m_iSocket);
}

std::string CScriptedDirectory::Question() const
{
    const std::lock_guard lock(m_cs);
    return m_strQuestion;
}

void CScriptedDirectory::Run()
{
    for (;;) {
        const int connection = accept4(m_iSocket, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection < 0) return;
        char question[4096];
        const ssize_t count = recv(connection, question, sizeof question, 0);
        const std::string text(question, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        {
            const std::lock_guard lock(m_cs);
            m_strQuestion = text;
        }
        m_Script(connection, text);
        close(connection);
    }
}
