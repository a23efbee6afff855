#include "recorder/store/Store.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <utility>

#include "recorder/media/CodecStream.h"

namespace recorder
{

namespace
{

constexpr std::chrono::seconds FLUSH_EVERY{1};
constexpr std::chrono::seconds RETRY_AFTER{5};
constexpr const char* LOCK_NAME = "watchwall-recorder.lock";

namespace fs = std::filesystem;

}  // namespace

std::vector<StoredRecord> ListRecords(const std::string& folder)
{
    std::vector<StoredRecord> records;
    std::error_code error;
    const fs::directory_iterator entries(folder, error);
    if (error) throw std::runtime_error("can't read the records of " + folder + ": " + error.message());
    for (const auto& entry : entries) {
        const auto name = ParseFileName(entry.path().filename().string());
        std::error_code gone;
        if (!name || !entry.is_regular_file(gone)) continue;
        const auto bytes = entry.file_size(gone);
        if (!gone) records.push_back({*name, static_cast<int64_t>(bytes), false});
    }
    std::sort(records.begin(), records.end(),
              [](const StoredRecord& a, const StoredRecord& b) { return a.name.id < b.name.id; });
    return records;
}

Store::Lock::Lock(const std::string& path) : file(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600))
{
    if (file < 0) throw std::runtime_error("can't keep records: " + path + " can't be written");
    if (::flock(file, LOCK_EX | LOCK_NB) == 0) return;
    ::close(file);
    throw std::runtime_error("can't keep records: another recorder does so in the same folder, see " + path);
}

Store::Lock::~Lock()
{
    ::close(file);
}

Store::Store(StoreSetup setup)
    : m_Setup(std::move(setup)), m_Tracks(m_Setup.sizes.size()), m_NeedsKey(m_Setup.sizes.size(), true)
{
    std::error_code error;
    fs::create_directories(m_Setup.folder, error);
    m_Lock = std::make_unique<Lock>((fs::path(m_Setup.folder) / LOCK_NAME).string());
    Scan();
    m_Thread = std::thread([this] { Run(); });
}

Store::~Store()
{
    {
        const std::lock_guard lock(m_Mutex);
        m_End = true;
    }
    m_Changed.notify_all();
    m_Thread.join();
}

// What a crash left behind is as good as what was ended, as long as anything was written.
void Store::Scan()
{
    for (const StoredRecord& record : ListRecords(m_Setup.folder)) {
        m_Records.Put(record);
        m_NextId = record.name.id + 1;
        if (record.bytes == 0) Remove(record.name.id);
    }
}

void Store::Shrink()
{
    MakeRoom(0);
}

void Store::Keep(int channel, const std::shared_ptr<const Coded>& coded)
{
    Keep(channel, coded, Clock::now());
}

void Store::Keep(int channel, const std::shared_ptr<const Coded>& coded, Clock::time_point at)
{
    if (coded->codec != ECodec::Mpeg4) return;
    {
        const std::lock_guard lock(m_Mutex);
        if (m_Finished) return;
        std::vector<bool>::reference needsKey = m_NeedsKey[static_cast<size_t>(channel)];
        if ((needsKey && !coded->key) || m_Queued + coded->bytes.size() > MAX_QUEUED_BYTES) {
            needsKey = true;
            ++m_Counts.leftOut;
            return;
        }
        needsKey = false;
        m_Queued += coded->bytes.size();
        m_Queue.push_back({channel, coded, at});
    }
    m_Changed.notify_all();
}

void Store::Sync()
{
    std::unique_lock lock(m_Mutex);
    const uint64_t mine = ++m_SyncsAsked;
    m_Changed.notify_all();
    m_Changed.wait(lock, [this, mine] { return m_SyncsDone >= mine; });
}

void Store::Finish()
{
    {
        const std::lock_guard lock(m_Mutex);
        m_Finished = true;
    }
    Sync();
}

std::vector<StoredRecord> Store::Records() const
{
    const std::lock_guard lock(m_Mutex);
    std::vector<StoredRecord> records;
    records.reserve(m_Records.All().size());
    for (const auto& [id, record] : m_Records.All())
        records.push_back(record);
    return records;
}

int64_t Store::Bytes() const
{
    const std::lock_guard lock(m_Mutex);
    return m_Records.Bytes();
}

std::string Store::PathOf(int id) const
{
    const std::lock_guard lock(m_Mutex);
    const auto it = m_Records.All().find(id);
    return it == m_Records.All().end() ? std::string() : PathOf(it->second.name);
}

std::string Store::PathOf(const RecordName& name) const
{
    return (fs::path(m_Setup.folder) / FileNameOf(name)).string();
}

StoreCounts Store::Counts() const
{
    const std::lock_guard lock(m_Mutex);
    return m_Counts;
}

void Store::Run()
{
    std::unique_lock lock(m_Mutex);
    while (!m_End || !m_Queue.empty())
        Serve(lock);
    lock.unlock();
    for (Track& track : m_Tracks)
        End(track);
}

void Store::Serve(std::unique_lock<std::mutex>& lock)
{
    m_Changed.wait_for(lock, FLUSH_EVERY,
                       [this] { return m_End || m_SyncsDone != m_SyncsAsked || !m_Queue.empty(); });
    const std::deque<Item> items = std::exchange(m_Queue, {});
    const uint64_t asked = m_SyncsAsked;  // by those who gave these items, or earlier ones
    const bool sync = m_SyncsDone != asked;
    m_Queued = 0;
    lock.unlock();
    for (const Item& item : items)
        Write(item);
    EndIdle();
    if (sync) FlushAll();
    lock.lock();
    m_SyncsDone = asked;
    m_Changed.notify_all();
}

void Store::Write(const Item& item)
{
    Track& track = m_Tracks[static_cast<size_t>(item.channel)];
    try {
        const auto bytes = static_cast<int64_t>(item.coded->bytes.size());
        if (track.writer) {
            const int64_t written = track.writer->Bytes();
            const bool full = item.at - track.begun >= m_Setup.longest || 2 * written >= RecordLimit();
            if (item.at - track.last >= m_Setup.gap || (full && item.coded->key) ||
                written + bytes > RecordLimit())
                End(track);
        }
        if (!track.writer && item.coded->key && item.at >= track.retryAt) Begin(track, item);
        // Pictures that build on a missing one would show nothing but damage.
        if (track.writer && !MakeRoom(bytes)) End(track);
        if (track.writer)
            Put(track, item);
        else
            LeaveOut();
    } catch (const std::exception& e) {
        Fail(track, item.channel, item.at, e.what());
        LeaveOut();
    }
}

void Store::Put(Track& track, const Item& item)
{
    track.writer->Write(item.coded->bytes,
                        std::chrono::duration_cast<std::chrono::milliseconds>(item.at - track.begun),
                        item.coded->key);
    track.last = item.at;
    if (item.at - track.flushed >= FLUSH_EVERY) {
        track.writer->Flush();
        track.flushed = item.at;
        track.unflushed = 0;
    } else {
        ++track.unflushed;
    }
    m_Said.clear();
    const std::lock_guard lock(m_Mutex);
    m_Records.SetBytes(track.id, track.writer->Bytes());
    ++m_Counts.pictures;
}

void Store::Begin(Track& track, const Item& item)
{
    const RecordName name{m_NextId, item.channel, m_Setup.clock()};
    if (name.id > MAX_RECORD_ID) throw std::runtime_error("the numbers of records are used up");
    const std::string path = PathOf(name);
    try {
        track.writer = std::make_unique<RecordWriter>(path, m_Setup.sizes[static_cast<size_t>(item.channel)],
                                                      item.coded->bytes);
    } catch (...) {
        // What a full disk took of the head is no record, and the next one has the same number.
        std::error_code ignored;
        fs::remove(path, ignored);
        throw;
    }
    track.id = m_NextId++;
    track.begun = track.last = item.at;
    track.flushed = item.at - FLUSH_EVERY;  // the first picture goes to the disk: the record can be read
    const std::lock_guard lock(m_Mutex);
    m_Records.Put({name, track.writer->Bytes(), true});
}

void Store::End(Track& track)
{
    if (!track.writer) return;
    try {
        track.writer->Flush();
        track.unflushed = 0;
    } catch (const std::exception&) {
        // The next record, or whoever ends this one, tells of the disk.
    }
    track.writer.reset();
    const std::string path = PathOf(track.id);
    std::error_code error;
    const auto bytes = fs::file_size(path, error);
    const std::lock_guard lock(m_Mutex);
    m_Records.Close(track.id);
    const uint64_t refused = std::exchange(track.unflushed, 0);
    m_Counts.pictures -= refused;
    m_Counts.leftOut += refused;
    if (!error) m_Records.SetBytes(track.id, static_cast<int64_t>(bytes));
}

// A channel that nobody watches any more has no further picture that would end its record. Where the disk is
// late one may be waiting, which tells by its own time whether the record goes on.
void Store::EndIdle()
{
    std::vector<bool> waits(m_Tracks.size());
    {
        const std::lock_guard lock(m_Mutex);
        for (const Item& item : m_Queue)
            waits[static_cast<size_t>(item.channel)] = true;
    }
    for (size_t channel = 0; channel < m_Tracks.size(); ++channel) {
        Track& track = m_Tracks[channel];
        if (track.writer && !waits[channel] && Clock::now() - track.last >= m_Setup.gap) End(track);
    }
}

void Store::FlushAll()
{
    for (size_t channel = 0; channel < m_Tracks.size(); ++channel) {
        Track& track = m_Tracks[channel];
        try {
            if (!track.writer) continue;
            track.writer->Flush();
            track.unflushed = 0;
        } catch (const std::exception& e) {
            Fail(track, static_cast<int>(channel), track.last, e.what());
        }
    }
}

// Removes the oldest records that aren't written any more. Those that are take half of the room at most.
bool Store::MakeRoom(int64_t bytes)
{
    for (;;) {
        int oldest = 0;
        {
            const std::lock_guard lock(m_Mutex);
            if (m_Records.Bytes() + bytes <= m_Setup.maxBytes) return true;
            oldest = m_Records.Oldest();
        }
        if (oldest == 0) return false;
        Remove(oldest);
    }
}

void Store::Remove(int id)
{
    std::error_code error;
    fs::remove(PathOf(id), error);
    const std::lock_guard lock(m_Mutex);
    m_Records.Remove(id);  // also when it can't be removed: nothing is gained by trying again and again
    ++(error ? m_Counts.failures : m_Counts.removed);
}

void Store::LeaveOut()
{
    const std::lock_guard lock(m_Mutex);
    ++m_Counts.leftOut;
}

void Store::Fail(Track& track, int channel, Clock::time_point at, const std::string& why)
{
    if (std::exchange(m_Said, why) != why)
        std::fprintf(stderr, "watchwall-recorder: channel %d is not kept: %s\n", channel + 1, why.c_str());
    End(track);
    track.retryAt = at + RETRY_AFTER;
    const std::lock_guard lock(m_Mutex);
    ++m_Counts.failures;
}

int64_t Store::RecordLimit() const
{
    return m_Setup.maxBytes / (2 * static_cast<int64_t>(std::max<size_t>(1, m_Tracks.size())));
}

}  // namespace recorder
