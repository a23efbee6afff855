#include "model/NodeModel.h"

#include <sqlite3.h>

#include <array>
#include <atomic>
#include <cassert>
#include <thread>
#include <utility>

#include "inc/EntryCheck.h"
#include "inc/LogLine.h"
#include "inc/Mutex.h"
#include "model/settings/GlobalSetting.h"
#include "model/settings/Language.h"
#include "model/settings/SettingLeaves.h"
#include "model/tree/CompositeIterator.h"
#include "platform/os/drives.h"
#include "platform/os/paths.h"
#include "platform/os/threads.h"

namespace
{

// How long a statement waits for another process that writes to the same file.
constexpr int DATABASE_WAIT_MS = 5000;

struct ModelState {
    CCriticalSection instanceLock;  // guards the making of the singleton
    std::atomic<CNodeModel*> instance{nullptr};
    std::string told GUARDED_BY(instanceLock);  // the last fault of the database
    CMutex databaseLock;                        // a leaf lock
    std::shared_ptr<sqlite3> database GUARDED_BY(databaseLock);
    std::array<std::uint8_t, CNodeModel::GREY_BYTES> grey{};
};

// Never destroyed: the model lives to process end, and link threads may outlast the static objects.
ModelState& State()
{
    static auto* const state = new ModelState;
    return *state;
}

// A database that can't be opened is tried again at each use, and told once.
void TellFault(const std::string& fault) REQUIRES(State().instanceLock)
{
    ASSERT_HELD(State().instanceLock);
    if (std::exchange(State().told, fault) != fault) LogFault("CNodeModel::GetInstance", fault);
}

// The file is looked at only by the first statement; so one is tried, which changes nothing, to tell early of a
// file that can't serve. One to which another process writes just now does, and the panels don't wait for that.
void TellUnusable(sqlite3* database, const std::string& path) REQUIRES(State().instanceLock)
{
    ASSERT_HELD(State().instanceLock);
    const int result = sqlite3_exec(database, "select 1 from record limit 1", nullptr, nullptr, nullptr);
    if (result == SQLITE_OK || result == SQLITE_BUSY) return;
    TellFault(path + ": " + sqlite3_errmsg(database) + "; records are not kept, and the file is left as it is");
}

std::unique_ptr<CGlobalSetting> MakeSetting()
{
    auto setting = std::make_unique<CGlobalSetting>();
    setting->m_bsStorageDrive = GetFixedDataDrives(GetLogicalDrives(), GetSystemDirectoryA(), GetDriveTypeA);
    return setting;
}

template <class T>
T* AddNamed(CFolder& folder, const char* key)
{
    auto* const node = new T;
    node->SetName(CLanguage::GetString(key));
    folder.Add(node, nullptr);
    return node;
}

// The first node beneath `root` that `matches`, in walk order; null when none does.
template <class Predicate>
CNode* FindNode(CFolder& root, Predicate matches)
{
    CCompositeIterator walk(root.CreateIterator());
    while (walk.HasNext()) {
        CNode* const node = walk.CurrentItem();
        if (node && matches(*node)) return node;
        walk.Next();
    }
    return nullptr;
}

}  // namespace

CNodeModel::CNodeModel() : m_PanelsThread(std::this_thread::get_id()) {}

CNodeModel::~CNodeModel()
{
    CloseDatabase();
    FreeRoot();
}

CNodeModel* CNodeModel::GetInstance()
{
    ModelState& state = State();
    if (CNodeModel* const instance = state.instance) return instance;
    const CAutoLock lock(state.instanceLock);
    if (CNodeModel* const instance = state.instance) return instance;
    std::unique_ptr<CNodeModel> instance(new CNodeModel);
    if (!OpenDatabase()) instance.reset();
    state.grey.fill(0x80);
    return state.instance = instance.release();
}

void CNodeModel::DestroyInstance()
{
    const CAutoLock lock(State().instanceLock);
    const std::unique_ptr<CNodeModel> instance(State().instance.load());
    if (instance) instance->FreeRoot();  // while the singleton still answers
    State().instance = nullptr;
    State().told.clear();
}

bool CNodeModel::OpenDatabase() REQUIRES(State().instanceLock)
{
    ASSERT_HELD(State().instanceLock);
    const std::string path = GetModuleDirectory() + "dvr.db";
    sqlite3* database = nullptr;
    const int result = sqlite3_open(HostPath(path).c_str(), &database);
    std::shared_ptr<sqlite3> handle(database, [](sqlite3* closing) { sqlite3_close(closing); });
    if (result != SQLITE_OK) {
        TellFault(path + ": " + sqlite3_errstr(result));
        return false;
    }
    TellUnusable(database, path);
    sqlite3_busy_timeout(database, DATABASE_WAIT_MS);
    const CMutexLock lock(State().databaseLock);
    State().database = std::move(handle);
    return true;
}

std::shared_ptr<sqlite3> CNodeModel::GetDatabase()
{
    const CMutexLock lock(State().databaseLock);
    return State().database;
}

void CNodeModel::CloseDatabase()
{
    std::shared_ptr<sqlite3> closing;
    const CMutexLock lock(State().databaseLock);
    closing.swap(State().database);
}

std::span<const std::uint8_t> CNodeModel::GetGrey()
{
    return State().grey;
}

bool CNodeModel::IsPanelsThread() const
{
    return std::this_thread::get_id() == m_PanelsThread;
}

CFolder* CNodeModel::GetRoot()
{
    assert(IsPanelsThread() && "called on a foreign thread");  // every walk begins here
    if (!m_pRoot) m_pRoot = std::make_unique<CFolder>();
    return m_pRoot.get();
}

void CNodeModel::DeleteRoot()
{
    assert(IsPanelsThread() && "called on a foreign thread");
    FreeRoot();
}

void CNodeModel::FreeRoot()
{
    m_pCurrent = nullptr;
    m_pRoot.reset();
}

CGlobalSetting* CNodeModel::GetGlobalSetting()
{
    CNode* const found =
        FindNode(*GetRoot(), [](CNode& node) { return dynamic_cast<CGlobalSetting*>(&node) != nullptr; });
    CGlobalSetting* const setting = found ? dynamic_cast<CGlobalSetting*>(found) : CreateGlobalSetting();
    CGlobalSetting::SetFound(setting);
    return setting;
}

StorageValues CNodeModel::GetStorageValues()
{
    // A walk needs the tree to stand still, so other threads get what the panels' thread has found last.
    if (IsPanelsThread()) return GetGlobalSetting()->GetStorageValues();
    const auto found = CGlobalSetting::GetFoundValues();
    return found ? *found : MakeSetting()->GetStorageValues();
}

CGlobalSetting* CNodeModel::CreateGlobalSetting()
{
    CGlobalSetting* const setting = MakeSetting().release();
    CLanguage::GetInstance();  // so that the names below have texts
    setting->SetName(CLanguage::GetString("IDS_GlobalSetting"));
    GetRoot()->Add(setting, nullptr);
    AddNamed<CStorageSetting>(*setting, "IDS_StorageSetting");
    AddNamed<CNetworkSetting>(*setting, "IDS_NetworkSetting");
    AddNamed<CSystemSetting>(*setting, "IDS_SystemSetting");
    AddNamed<CLogSetting>(*setting, "IDS_LogSetting");
    return setting;
}

CNode* CNodeModel::FindByName(const std::string& name)
{
    return FindNode(*GetRoot(), [&](CNode& node) { return node.GetName() == name; });
}

bool CNodeModel::Contains(const CNode* node)
{
    return FindNode(*GetRoot(), [&](const CNode& met) { return &met == node; }) != nullptr;
}
