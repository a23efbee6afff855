#pragma once

#include <bitset>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "model/archive/NamedValue.h"
#include "model/tree/Folder.h"

/// Drives a to z, bit 0 for a.
using DriveSet = std::bitset<26>;

/// What recordings and snapshots ask of the settings. Members are described there.
struct StorageValues {
    DriveSet drives;
    std::uint32_t limitMiB = 0;
    std::int32_t hdfAction = 0;
    std::string picPath;
};

/// Every tuning value of the system, with its defaults: nothing loads or saves it, so each process begins with
/// them. Got from CNodeModel::GetGlobalSetting by the panels' thread, whose tree it goes with; link threads get
/// copies. The fields are written while the object is created and read without a lock.
class CGlobalSetting : public CFolder
{
  public:
    CGlobalSetting();
    ~CGlobalSetting() override;

    StorageValues GetStorageValues() const;

    /// The values of the settings that a walk of the model found last; nothing when it found none or they are
    /// gone. Kept so that link threads get at them while the panels change the tree. At any time from any
    /// thread.
    static std::optional<StorageValues> GetFoundValues();
    static void SetFound(const CGlobalSetting* setting);

    std::string m_szDDNS;
    std::uint32_t m_ulCtrlPort = 10060;
    std::uint32_t m_ulDataPort = 10061;
    std::uint32_t m_ulHttpPort = 80;
    DriveSet m_bsStorageDrive;              // where recording may write
    std::uint32_t m_limitDiskSpace = 2500;  // MiB that a drive must exceed to be written to
    std::int32_t m_iHdfAction = 0;          // when no drive has room: 0 removes the oldest records
    bool m_bSoundAlarm = false;
    std::int32_t m_iCycleInterval = 10;  // seconds of one page of the grid's page cycle
    std::int32_t m_iDisplayMode = 0;
    bool m_bAutoShutdown = false;
    bool m_bAutoRun = false;
    bool m_bAutoLogon = false;
    bool m_bMinimizeToTray = false;
    std::int32_t m_iPackInterval = 0;
    std::string m_szAccount = "admin";
    std::string m_szPicPath;  // "snapshot" in the module's directory; not the "PicturePath" of the ini

    /// The order is the format's and differs from the record's.
    template <class Archive>
    void Serialize(Archive& archive)
    {
        CFolder::Serialize(archive);
        archive& Named("m_szAccount", m_szAccount) & Named("m_szDDNS", m_szDDNS) &
            Named("m_ulCtrlPort", m_ulCtrlPort) & Named("m_ulDataPort", m_ulDataPort) &
            Named("m_ulHttpPort", m_ulHttpPort) & Named("m_bsStorageDrive", m_bsStorageDrive) &
            Named("m_limitDiskSpace", m_limitDiskSpace) & Named("m_iHdfAction", m_iHdfAction) &
            Named("m_bSoundAlarm", m_bSoundAlarm) & Named("m_iCycleInterval", m_iCycleInterval) &
            Named("m_iDisplayMode", m_iDisplayMode) & Named("m_bAutoRun", m_bAutoRun) &
            Named("m_bAutoShutdown", m_bAutoShutdown) & Named("m_bAutoLogon", m_bAutoLogon) &
            Named("m_bMinimizeToTray", m_bMinimizeToTray) & Named("m_iPackInterval", m_iPackInterval) &
            Named("m_szPicPath", m_szPicPath);
    }
};

/// The drives that recording may write to: those of `logicalDrives` (bit 0 for a) that are fixed by
/// `driveType`, which is asked with the drive's root ("d:\"), but for the drive that holds the system
/// directory.
DriveSet GetFixedDataDrives(std::uint32_t logicalDrives, const std::string& systemDirectory,
                            const std::function<std::uint32_t(const char* root)>& driveType);
