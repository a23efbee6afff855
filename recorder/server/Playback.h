#pragma once

#include <asio.hpp>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "recorder/media/Coded.h"
#include "recorder/server/RecordPace.h"
#include "recorder/store/RecordFile.h"

namespace recorder
{

/// Plays one record at the pace at which it was made. The file is read on a thread of the pool; everything
/// else, the events too, happens on the thread that runs the context. Kept alive by its own pending operations.
class Playback : public std::enable_shared_from_this<Playback>
{
  public:
    struct Events {
        std::function<void(PictureSize)> opened;
        std::function<void(const std::shared_ptr<const Coded>&)> picture;
        std::function<void()> ended;  // or it could not be opened, when nothing came before
    };

    Playback(asio::any_io_executor context, asio::thread_pool& pool, Events events);

    void Open(const std::string& path);
    /// Asks for one more picture, which comes when its time has come. Not before the one before it came.
    void Continue();
    /// No event comes any more.
    void Stop();

  private:
    void OnRead(std::optional<RecordedPicture> picture);

    asio::any_io_executor m_Context;
    asio::thread_pool& m_Pool;
    Events m_Events;
    asio::steady_timer m_Due;
    std::unique_ptr<RecordReader> m_Reader;  // used by one operation at a time
    RecordPace m_Pace;
    bool m_Stopped = false;
};

}  // namespace recorder
