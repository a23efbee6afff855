#pragma once

#include <cstdint>
#include <string>

#include "codec/codec.h"
#include "remote/link/LinkPicture.h"
#include "render/Render.h"

// What the fuzz targets of links share.

inline void Require(bool holds)
{
    if (!holds) __builtin_trap();
}

/// Reads every picture whole and keeps none.
class CReadingRender : public CRender
{
  public:
    std::int32_t DisplayClient(const CodecFrame* frame, CSurface*, HWND) override
    {
        if (frame->data[0] == nullptr) return 0;
        std::uint8_t read = 0;
        for (int plane = 0; plane < 3; ++plane) {
            const std::int32_t width = plane == 0 ? frame->width : frame->width / 2;
            const std::int32_t height = plane == 0 ? frame->height : frame->height / 2;
            for (std::int32_t row = 0; row < height; ++row)
                for (std::int32_t column = 0; column < width; ++column)
                    read ^= frame->data[plane][row * frame->linesize[plane == 0 ? 0 : 1] + column];
        }
        m_Read = read;
        return 0;
    }
    CSurface* CreateSurface(std::int32_t width, std::int32_t height) override
    {
        Require(IsWithinLimit(width, height));
        return new CSurface(width, height);
    }
    void DestroySurface(CSurface* surface) override { delete surface; }
    std::int32_t SaveSnapshot(std::string, CSurface*) override { return 0; }

  private:
    inline static volatile std::uint8_t m_Read = 0;  // so that no reading is left out
};
