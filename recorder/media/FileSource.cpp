#include "recorder/media/FileSource.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace recorder
{

CFileSource::CFileSource(std::string spec, const XSceneSetup& setup, int iChannel,
                         const std::atomic<bool>& bStop)
    : m_strSpec(std::move(spec)),
      m_Setup(setup),
      m_iChannel(iChannel),
      m_bStop(bStop),
      m_Overlay(setup, iChannel),
      m_Fit(setup.m_iWidth, setup.m_iHeight)
{
    try {
        Open(-1);
    } catch (const std::exception& e) {
        Fail(-1, e.what());
    }
}

void CFileSource::Read(int64_t iPicture, XPicture& picture)
{
    try {
        if (!m_pInput && iPicture >= m_iRetryAt) Open(iPicture);
        if (m_pInput && m_iOpenedAt < 0) m_iOpenedAt = iPicture;
        if (m_pInput) Advance(static_cast<double>(iPicture - m_iOpenedAt) / m_Setup.m_iRate);
    } catch (const std::exception& e) {
        Fail(iPicture, e.what());
    }
    if (m_pInput)
        m_Overlay.Draw(iPicture, m_Fit.Fit(m_pInput->Frame()).data(), picture);
    else
        m_Overlay.DrawNotice(iPicture, m_strNotice, picture);
}

void CFileSource::Open(int64_t iPicture)
{
    m_pInput =
        std::make_unique<CAvInput>(m_strSpec, [this] { return m_bStop.load(std::memory_order_relaxed); });
    m_dFrameTime = 0;
    m_dFirstTime = -1;
    m_dBegun = 0;
    m_iOpenedAt = iPicture;
    Next();
}

void CFileSource::Fail(int64_t iPicture, const std::string& why)
{
    m_pInput.reset();
    m_iRetryAt = iPicture + int64_t{RETRY_SECONDS} * m_Setup.m_iRate;
    if (m_strNotice != why) SaySource(m_iChannel, m_strSpec, why);
    m_strNotice = why;
}

void CFileSource::Advance(double dSeconds)
{
    // A long time unwatched isn't made up for: the source goes on from where it is.
    const double interval = 1.0 / m_Setup.m_iRate;
    if (dSeconds - m_dFrameTime > 2) {
        m_iOpenedAt += static_cast<int64_t>((dSeconds - m_dFrameTime) * m_Setup.m_iRate);
        dSeconds = m_dFrameTime;
    }
    while (m_dFrameTime + interval / 2 < dSeconds)
        Next();
}

void CFileSource::Next()
{
    if (!m_pInput->Next()) {
        // The end: from the beginning again, going on in time by one picture.
        m_pInput->Rewind();
        m_dBegun = m_dFrameTime + 1.0 / m_Setup.m_iRate;
        m_dFirstTime = -1;
        if (!m_pInput->Next()) throw std::runtime_error("the source has no pictures");
    }
    const auto stamp = m_pInput->Stamp();
    if (!stamp) {
        m_dFrameTime += 1.0 / m_Setup.m_iRate;
        return;
    }
    if (m_dFirstTime < 0) m_dFirstTime = std::max(0.0, *stamp);
    m_dFrameTime = m_dBegun + std::max(0.0, *stamp - m_dFirstTime);
}

}  // namespace recorder
