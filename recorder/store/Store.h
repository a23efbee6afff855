#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "recorder/media/Coded.h"
#include "recorder/store/RecordFile.h"
#include "recorder/store/RecordName.h"
#include "recorder/store/RecordTable.h"

namespace recorder
{

struct StoreSetup {
    std::string folder;
    int64_t maxBytes = int64_t{1} << 30;
    std::vector<PictureSize> sizes;  // of the channels' pictures
    std::chrono::milliseconds longest{300'000};
    std::chrono::milliseconds gap{2'000};  // without a picture for so long the record ends
    std::function<std::chrono::local_seconds()> clock;
};

struct StoreCounts {
    uint64_t pictures = 0;  // kept
    uint64_t leftOut = 0;   // before a key picture, or since the disk was slow or refused them
    uint64_t removed = 0;   // records that made room
    uint64_t failures = 0;
};

/// Keeps the MPEG-4 pictures of the channels as records, each a file of its own in one folder, and no more
/// bytes of them than are allowed: the oldest records make room. A thread of its own writes; what waits for it
/// is bounded. Any thread, at any time.
class Store
{
  public:
    using Clock = std::chrono::steady_clock;
    static constexpr size_t MAX_QUEUED_BYTES = 16 << 20;  // that wait for the disk

    /// Throws std::runtime_error when the folder can't be had, or another recorder keeps its records there.
    explicit Store(StoreSetup setup);
    /// Writes what still waits and ends the records.
    ~Store();
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    /// Removes the oldest records beyond what is allowed, as each picture does that is kept: for a start with a
    /// smaller bound. Before the first picture.
    void Shrink();
    /// Takes a picture of MPEG-4; others are ignored. Returns at once.
    void Keep(int channel, const std::shared_ptr<const Coded>& coded);
    void Keep(int channel, const std::shared_ptr<const Coded>& coded, Clock::time_point at);
    /// Waits until all that was given before is in the system's hands, whatever is given meanwhile.
    void Sync();
    /// Takes no more: what is given from now on is ignored, and not counted. Waits as Sync does.
    void Finish();

    /// Oldest first.
    std::vector<StoredRecord> Records() const;
    /// Of all records. One that another hand has removed counts until it would make room.
    int64_t Bytes() const;
    /// Of the record's file; empty when there is no such record.
    std::string PathOf(int id) const;
    StoreCounts Counts() const;

  private:
    struct Item {
        int channel = 0;
        std::shared_ptr<const Coded> coded;
        Clock::time_point at;
    };
    /// The record of a channel that is being written.
    struct Track {
        std::unique_ptr<RecordWriter> writer;
        int id = 0;
        Clock::time_point begun;
        Clock::time_point last;
        Clock::time_point flushed;
        Clock::time_point retryAt;
        uint64_t unflushed = 0;  // pictures, counted as kept, that the disk may still refuse
    };
    struct Lock {
        explicit Lock(const std::string& path);
        ~Lock();
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;
        int file = -1;
    };

    void Scan();
    void Run();
    void Serve(std::unique_lock<std::mutex>& lock);
    void Write(const Item& item);
    void Put(Track& track, const Item& item);
    void Begin(Track& track, const Item& item);
    void End(Track& track);
    void EndIdle();
    void FlushAll();
    bool MakeRoom(int64_t bytes);
    void Remove(int id);
    void LeaveOut();
    void Fail(Track& track, int channel, Clock::time_point at, const std::string& why);
    int64_t RecordLimit() const;
    std::string PathOf(const RecordName& name) const;

    const StoreSetup m_Setup;
    std::unique_ptr<Lock> m_Lock;

    // the store's thread only
    std::vector<Track> m_Tracks;
    int m_NextId = 1;
    std::string m_Said;  // the latest failure, told once

    mutable std::mutex m_Mutex;  // a leaf
    std::condition_variable m_Changed;
    std::deque<Item> m_Queue;      // guarded
    size_t m_Queued = 0;           // guarded; bytes
    std::vector<bool> m_NeedsKey;  // guarded; by channel: a picture was left out
    RecordTable m_Records;         // guarded
    StoreCounts m_Counts;          // guarded
    uint64_t m_SyncsAsked = 0;     // guarded; calls of Sync
    uint64_t m_SyncsDone = 0;      // guarded; those for which all is written that was given before
    bool m_Finished = false;       // guarded; nothing is taken any more
    bool m_End = false;            // guarded

    std::thread m_Thread;
};

/// The records in the folder, oldest first, those of other processes too. Throws std::runtime_error when it
/// can't be read.
std::vector<StoredRecord> ListRecords(const std::string& folder);

}  // namespace recorder
