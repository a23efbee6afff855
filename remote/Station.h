#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "inc/EntryCheck.h"
#include "model/archive/NamedValue.h"
#include "model/tree/Devices.h"
#include "model/tree/Folder.h"
#include "remote/TimeSpan.h"

/// One remote machine, a folder that holds its devices. This base has no transport: every operation succeeds
/// and does nothing. Panels' thread only.
class CStation : public CFolder
{
  public:
    CStation() { m_bVisible = true; }
    // A station that shares a session with its devices' threads ends their waits in its destructor, after
    // LeaveFolder.

    virtual bool Connect(const std::string& address, std::int32_t controlPort, std::int32_t dataPort);
    virtual bool Disconnect();
    virtual bool Logon(const std::string& user, const std::string& password);
    /// A new folder with the machine's devices, owned by the caller; null when there is nothing to tell of.
    virtual std::unique_ptr<CDevices> EnumDevices();
    /// Appends what the far side finds for `query` to `results`.
    virtual bool SearchRecord(const std::string& query, std::vector<XTimeSpan>& results);

    bool GetFlag() const { return m_bFlag; }
    void SetFlag(bool flag) { m_bFlag = flag; }

    /// The password is written as plain text.
    template <class Archive>
    void Serialize(Archive& archive)
    {
        CFolder::Serialize(archive);
        archive& Named("m_szDDNS", m_szDDNS) & Named("m_szUserName", m_szUserName) &
            Named("m_szPassWord", m_szPassWord) & Named("m_iNetID", m_iNetID);
    }

    std::string m_szUserName;
    std::string m_szPassWord;
    std::string m_szDDNS;
    std::int32_t m_iNetID = 0;

  protected:
    [[no_unique_address]] CThreadMark m_PanelsThread;

  private:
    bool m_bFlag = false;
};
