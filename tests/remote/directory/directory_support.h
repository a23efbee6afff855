#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "remote/p2p/Endpoints.h"

/// A TCP server on loopback that reads one question of each connection and does with it what the test says.
class CScriptedDirectory
{
  public:
    using Script = std::function<void(int connection, const std::string& question)>;

    explicit CScriptedDirectory(Script script);
    /// Sends the same reply to every question.
    explicit CScriptedDirectory(const std::string& reply);
    ~CScriptedDirectory();
    CScriptedDirectory(const CScriptedDirectory&) = delete;
    CScriptedDirectory& operator=(const CScriptedDirectory&) = delete;

    /// The last question.
    std::string Question() const;

    Endpoints m_Endpoints;  // where it listens

  private:
    void Run();

    const Script m_Script;
    int m_iSocket = -1;
    mutable std::mutex m_cs;
    std::string m_strQuestion;  // guarded by m_cs
    std::thread m_Thread;
};
