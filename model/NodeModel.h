#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <thread>

#include "model/tree/Folder.h"

class CGlobalSetting;
struct StorageValues;
struct sqlite3;

/// The singleton that owns the root of the tree; beside it stands the process-wide handle of the database
/// "dvr.db". The tree, with all operations here that walk it, belongs to the panels' thread, which is the one
/// that makes the singleton; the database and GetStorageValues may be used from any thread.
class CNodeModel
{
  public:
    /// The singleton, made on the first call, which opens "dvr.db" in the module's directory. Null when the
    /// database can't be opened; the next call then tries again. A file that is no database, or one without the
    /// table of records, is opened all the same and left as it is, which the log reports.
    static CNodeModel* GetInstance();

    /// The root folder, made empty when there is none.
    CFolder* GetRoot();
    /// Deletes the root and everything beneath; the next GetRoot makes a new one. For the panel's shut-down.
    void DeleteRoot();

    /// The settings: the first CGlobalSetting of the tree, made with its four leaves at the end of the root
    /// when there is none.
    CGlobalSetting* GetGlobalSetting();
    /// Values of the settings as they are now. Other threads get those of the settings that the panels' thread
    /// has found last or, when there are none, those with which it would make them. At any time from any
    /// thread.
    StorageValues GetStorageValues();

    /// The first node in walk order with exactly that name, or null.
    CNode* FindByName(const std::string& name);
    /// Whether a walk meets this very node.
    bool Contains(const CNode* node);

    /// Notes the node that the device tree has selected; not owned.
    void SetCurrent(CNode* node) { m_pCurrent = node; }
    CNode* GetCurrent() const { return m_pCurrent; }

    /// The open database, or null when none is open. It stays open for as long as the result is held, also when
    /// another thread closes it meanwhile. At any time from any thread.
    static std::shared_ptr<sqlite3> GetDatabase();
    /// Closes the database for the rest of the process: it is opened with the singleton only. At any time from
    /// any thread.
    static void CloseDatabase();

    /// Closes the database and deletes the tree and the singleton, which otherwise live to process end: for a
    /// start that failed, and for tests.
    static void DestroyInstance();

    /// A picture's worth of grey, filled at each start; nothing reads it at present.
    static constexpr std::size_t GREY_BYTES = 460800;
    static std::span<const std::uint8_t> GetGrey();

    ~CNodeModel();
    CNodeModel(const CNodeModel&) = delete;
    CNodeModel& operator=(const CNodeModel&) = delete;

  private:
    CNodeModel();
    static bool OpenDatabase();
    bool IsPanelsThread() const;
    void FreeRoot();
    CGlobalSetting* CreateGlobalSetting();

    std::unique_ptr<CFolder> m_pRoot;  // made on the first demand
    CNode* m_pCurrent = nullptr;       // not owned
    const std::thread::id m_PanelsThread;
};
