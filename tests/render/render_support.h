#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "codec/codec.h"
#include "platform/windows/windows.h"

/// A window backend that keeps the texts of message boxes, for as long as it stands.
class CRecordingBackend : public IWindowBackend
{
  public:
    CRecordingBackend();
    ~CRecordingBackend() override;

    bool SetWindowPos(HWND, const RECT&) override { return false; }
    std::int32_t MessageBoxA(HWND owner, std::string_view text, std::string_view caption,
                             std::uint32_t type) override;

    /// The texts since the last call.
    std::vector<std::string> TakeTexts();

  private:
    std::mutex m_csTexts;
    std::vector<std::string> m_Texts;
    IWindowBackend* m_pFormer;
};

/// A 4:2:0 picture of one colour that owns its planes.
class CTestFrame
{
  public:
    CTestFrame(std::int32_t width, std::int32_t height, std::uint8_t luma, std::uint8_t u = 128,
               std::uint8_t v = 128);
    CodecFrame m_Frame{};

  private:
    std::vector<std::uint8_t> m_Planes[3];
};

/// The pixel that the conversion makes of this luma without colour, as blue, green, red, 0 in one word.
std::uint32_t GreyPixel(std::uint8_t luma);
