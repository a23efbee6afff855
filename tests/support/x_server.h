#pragma once

#include <string>

/// A virtual X server of a test's own, 1280 x 960. Ended with the object, and with the process.
class CXServer
{
  public:
    static constexpr int WIDTH = 1280;
    static constexpr int HEIGHT = 960;

    CXServer();
    ~CXServer();
    CXServer(const CXServer&) = delete;
    CXServer& operator=(const CXServer&) = delete;

    /// What DISPLAY has to be for programs that are to use it.
    const std::string& Name() const { return m_strName; }
    /// Takes the display away from under those who use it.
    void Kill();
    /// Lets it stand still: it takes connections and answers nothing.
    void Stop();

  private:
    int m_iProcess = -1;
    std::string m_strName;
};
