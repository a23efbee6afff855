#include "recorder/server/Playback.h"

#include <exception>
#include <utility>

namespace recorder
{

Playback::Playback(asio::any_io_executor context, asio::thread_pool& pool, Events events)
    : m_Context(std::move(context)), m_Pool(pool), m_Events(std::move(events)), m_Due(m_Context)
{
}

void Playback::Open(const std::string& path)
{
    asio::post(m_Pool, [self = shared_from_this(), path] {
        std::unique_ptr<RecordReader> reader;
        try {
            reader = std::make_unique<RecordReader>(path);
        } catch (const std::exception&) {
            reader = nullptr;  // what can't be opened isn't there for a client
        }
        asio::post(self->m_Context, [self, reader = std::move(reader)]() mutable {
            if (self->m_Stopped) return;
            self->m_Reader = std::move(reader);
            if (self->m_Reader)
                self->m_Events.opened(self->m_Reader->Size());
            else
                self->m_Events.ended();
        });
    });
}

void Playback::Continue()
{
    if (m_Stopped) return;
    asio::post(m_Pool, [self = shared_from_this()] {
        auto picture = self->m_Reader->Next();
        asio::post(self->m_Context,
                   [self, picture = std::move(picture)]() mutable { self->OnRead(std::move(picture)); });
    });
}

void Playback::Stop()
{
    m_Stopped = true;
    m_Due.cancel();
}

void Playback::OnRead(std::optional<RecordedPicture> picture)
{
    if (m_Stopped) return;
    if (!picture) {
        m_Events.ended();
        return;
    }
    const auto coded = std::make_shared<Coded>();
    coded->bytes = std::move(picture->bytes);
    coded->key = picture->key;
    m_Due.expires_at(m_Pace.DueOf(picture->at, RecordPace::Clock::now()));
    m_Due.async_wait([self = shared_from_this(), coded](asio::error_code error) {
        if (!error && !self->m_Stopped) self->m_Events.picture(coded);
    });
}

}  // namespace recorder
