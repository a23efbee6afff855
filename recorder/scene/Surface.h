#pragma once

#include <cairo.h>

#include <cstdint>
#include <stdexcept>

namespace recorder
{

// A Cairo picture with its context. One thread at a time.
class CSurface
{
  public:
    CSurface(int iWidth, int iHeight, cairo_format_t format = CAIRO_FORMAT_RGB24)
        : CSurface(cairo_image_surface_create(format, iWidth, iHeight))
    {
    }
    // Over pixels of the caller (blue, green, red, unused; no gaps between rows), which outlive it.
    CSurface(uint8_t* pPixels, int iWidth, int iHeight)
        : CSurface(
              cairo_image_surface_create_for_data(pPixels, CAIRO_FORMAT_RGB24, iWidth, iHeight, 4 * iWidth))
    {
    }
    ~CSurface()
    {
        cairo_destroy(m_pContext);
        cairo_surface_destroy(m_pSurface);
    }
    CSurface(const CSurface&) = delete;
    CSurface& operator=(const CSurface&) = delete;

    cairo_t* Context() const { return m_pContext; }
    cairo_surface_t* Surface() const { return m_pSurface; }
    const uint8_t* Pixels() const
    {
        cairo_surface_flush(m_pSurface);
        return cairo_image_surface_get_data(m_pSurface);
    }

    // Calls with the pixels, to be changed between drawings.
    template <class Change_t>
    void Change(const Change_t& change)
    {
        cairo_surface_flush(m_pSurface);
        change(cairo_image_surface_get_data(m_pSurface));
        cairo_surface_mark_dirty(m_pSurface);
    }

  private:
    explicit CSurface(cairo_surface_t* pSurface) : m_pSurface(pSurface), m_pContext(cairo_create(pSurface))
    {
        if (cairo_status(m_pContext) == CAIRO_STATUS_SUCCESS) return;
        cairo_destroy(m_pContext);
        cairo_surface_destroy(m_pSurface);
        throw std::runtime_error("no memory for a picture");
    }

    cairo_surface_t* m_pSurface;
    cairo_t* m_pContext;
};

}  // namespace recorder
